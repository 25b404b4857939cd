#include "sound/sample_format.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/audio/audio_driver.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

void expectUnchanged(int32_t type, const std::vector<uint8_t>& bytes) {
  std::vector<uint8_t> written(bytes.size(), 0xAA);
  WriteSample(type, written.data(), 0, ReadSample(type, bytes.data(), 0));
  EXPECT_EQ(written, bytes) << "type " << type;
}

TEST(SampleFormat, WhatWasReadIsWrittenBackUnchanged) {
  for (int32_t value = -32768; value <= 32767; ++value) {
    const auto low = static_cast<uint8_t>(value);
    const auto high = static_cast<uint8_t>(value >> 8);
    expectUnchanged(kInt16LSB, {low, high});
    expectUnchanged(kInt16MSB, {high, low});
  }
  for (int32_t value = -8388608; value <= 8388607; value += 251) {
    const auto a = static_cast<uint8_t>(value);
    const auto b = static_cast<uint8_t>(value >> 8);
    const auto c = static_cast<uint8_t>(value >> 16);
    expectUnchanged(kInt24LSB, {a, b, c});
    expectUnchanged(kInt24MSB, {c, b, a});
    expectUnchanged(kInt32LSB, {0, a, b, c});  // the 24 bits that a float carries
  }
  expectUnchanged(kInt32LSB, {0xFF, 0xFF, 0xFF, 0x7F});
}

TEST(SampleFormat, ReaderScalesAndByteOrder) {
  const uint8_t bytes[4] = {0x40, 0x00, 0x00, 0xC0};
  EXPECT_EQ(ReadSample(kInt16MSB, bytes, 0), 0.5f);
  EXPECT_EQ(ReadSample(kInt16LSB, bytes, 1), -0.5f);
  EXPECT_EQ(ReadSample(kInt24MSB, bytes, 0), 0.5f);
  EXPECT_EQ(ReadSample(kInt24LSB, bytes + 1, 0), -0.5f);
  EXPECT_EQ(ReadSample(kInt32LSB, bytes, 0), -0.5f + 64.0f / 2147483648.0f);
}

TEST(SampleFormat, WriterRoundsToNearestAndClamps) {
  const struct {
    float value;
    int16_t written;
  } cases[] = {{0.4f / 32768.0f, 0}, {-0.6f / 32768.0f, -1}, {1.0f, 32767}, {-7.0f, -32768}, {NAN, 0},
               {INFINITY, 32767},    {1e38f, 32767}};
  for (const auto& c : cases) {
    int16_t written = 1234;
    WriteSample(kInt16LSB, &written, 0, c.value);
    EXPECT_EQ(written, c.written) << c.value;
  }
}

// In every type, summed and clipped, and nothing that is not a number.
TEST(SampleFormat, BlocksTouchJustTheirSamples) {
  constexpr int32_t kLength = 7;  // not a multiple of the vector width
  for (const int32_t type :
       {kInt16MSB, kInt24MSB, kInt16LSB, kInt24LSB, kInt32LSB, kFloat32LSB, kFloat64LSB, int32_t{99}}) {
    const auto bytes = static_cast<size_t>(kLength * BytesPerSample(type));
    std::vector<uint8_t> buffer(bytes + 8, 0x55);
    ClearBlock(type, buffer.data(), kLength);
    const float first[kLength] = {0.25f, 0.25f, -INFINITY, -0.5f, 0.25f, 0.75f, INFINITY};
    const float second[kLength] = {0.25f, NAN, -0.25f, -0.75f, NAN, 0.75f, 0.25f};
    AddBlock(type, buffer.data(), first, kLength);
    AddBlock(type, buffer.data(), second, kLength);
    float out[kLength];
    ReadBlock(type, buffer.data(), out, kLength);
    const float expected[kLength] = {0.5f, 0.25f, -1.0f, -1.0f, 0.25f, 1.0f, 1.0f};
    for (int32_t k = 0; k < kLength; ++k) {
      EXPECT_NEAR(out[k], expected[k], 1.0f / 32768.0f) << "type " << type << " sample " << k;
      EXPECT_EQ(out[k], ReadSample(type, buffer.data(), k));
    }
    for (size_t k = bytes; k < buffer.size(); ++k) {
      EXPECT_EQ(buffer[k], 0x55) << "type " << type;
    }
  }
}

}  // namespace
}  // namespace tarnwick::sound
