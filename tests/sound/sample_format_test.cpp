#include "sound/sample_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/audio/audio_driver.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

using Buffer = std::vector<uint8_t>;

TEST(SampleFormat, WhatWasReadIsWrittenBackUnchanged) {
  const struct {
    int32_t type;
    uint32_t unused;  // bits below those that a float carries
  } cases[] = {{kInt16LSB, 0}, {kInt16MSB, 0}, {kInt24LSB, 0}, {kInt24MSB, 0}, {kInt32LSB, 8}};
  for (const auto& c : cases) {
    const auto width = static_cast<size_t>(BytesPerSample(c.type));
    const int32_t count = width == 2 ? 65536 : 33421;  // odd: the last ones are no four
    const uint32_t step = width == 2 ? 1 : 502;
    Buffer bytes;
    for (uint32_t k = 0; k < static_cast<uint32_t>(count); ++k) {
      const uint32_t word = (k * step) << c.unused;
      for (size_t b = 0; b < width; ++b) {
        bytes.push_back(static_cast<uint8_t>(word >> (8 * b)));
      }
    }
    std::vector<float> samples(static_cast<size_t>(count));
    ReadBlock(c.type, bytes.data(), samples.data(), count);
    Buffer written(bytes.size(), 0xAA);
    WriteBlock(c.type, written.data(), samples.data(), count);
    EXPECT_EQ(written, bytes) << "type " << c.type;
  }
}

// Scale, order of the bytes, rounding (ties to even) and clamping, wherever in a block the sample stands.
TEST(SampleFormat, EveryValueHasItsBytes) {
  constexpr double k16 = 32768.0;
  constexpr double k24 = 8388608.0;
  constexpr double k32 = 2147483648.0;
  const struct {
    int32_t type;
    double value;
    Buffer bytes;
    double readBack;
  } cases[] = {
      {kInt16MSB, 0.5, {0x40, 0x00}, 0.5},
      {kInt16LSB, -1.6 / k16, {0xFE, 0xFF}, -2.0 / k16},
      {kInt16LSB, 0.5 / k16, {0x00, 0x00}, 0.0},
      {kInt16LSB, 1.5 / k16, {0x02, 0x00}, 2.0 / k16},
      {kInt16LSB, -2.5 / k16, {0xFE, 0xFF}, -2.0 / k16},
      {kInt16LSB, 1.0, {0xFF, 0x7F}, 32767.0 / k16},
      {kInt16LSB, 1e38, {0xFF, 0x7F}, 32767.0 / k16},
      {kInt16MSB, -7.0, {0x80, 0x00}, -1.0},
      {kInt24MSB, 2.0, {0x7F, 0xFF, 0xFF}, 8388607.0 / k24},
      {kInt24LSB, -0.5, {0x00, 0x00, 0xC0}, -0.5},
      {kInt24LSB, 4194304.5 / k24, {0x00, 0x00, 0x40}, 0.5},
      {kInt24MSB, -4194305.5 / k24, {0xBF, 0xFF, 0xFE}, -4194306.0 / k24},
      {kInt24LSB, NAN, {0, 0, 0}, 0.0},
      {kInt32LSB, 0.5 / k32, {0, 0, 0, 0}, 0.0},
      {kInt32LSB, -1.5 / k32, {0xFE, 0xFF, 0xFF, 0xFF}, -2.0 / k32},
      {kInt32LSB, 1.0 - 1.0 / 16777216.0, {0x80, 0xFF, 0xFF, 0x7F}, 1.0 - 1.0 / 16777216.0},
      {kInt32LSB, INFINITY, {0xFF, 0xFF, 0xFF, 0x7F}, 1.0},
      {kInt32LSB, -INFINITY, {0x00, 0x00, 0x00, 0x80}, -1.0},
      {99, -0.25, {0x00, 0x00, 0x00, 0xE0}, -0.25},
      {kFloat32LSB, -2.0, {0, 0, 0, 0xC0}, -2.0},
      {kFloat32LSB, NAN, {0, 0, 0, 0}, 0.0},
      {kFloat64LSB, 0.5, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, 0.5},
      {kFloat64LSB, NAN, {0, 0, 0, 0, 0, 0, 0, 0}, 0.0},
  };
  constexpr size_t kLength = 7;
  for (const auto& c : cases) {
    for (size_t at = 0; at < kLength; ++at) {
      SCOPED_TRACE(testing::Message() << "type " << c.type << ", " << c.value << " at " << at);
      float samples[kLength] = {};
      samples[at] = static_cast<float>(c.value);
      Buffer expected(kLength * c.bytes.size());
      std::copy(c.bytes.begin(), c.bytes.end(), expected.begin() + static_cast<ptrdiff_t>(at * c.bytes.size()));
      Buffer buffer(expected.size(), 0x55);
      WriteBlock(c.type, buffer.data(), samples, kLength);
      EXPECT_EQ(buffer, expected);
      ReadBlock(c.type, buffer.data(), samples, kLength);
      EXPECT_EQ(samples[at], static_cast<float>(c.readBack));
    }
  }
}

// In every type, summed and clipped, and nothing that is not a number.
TEST(SampleFormat, BlocksTouchJustTheirSamples) {
  constexpr int32_t kLength = 7;  // not a multiple of the vector width
  for (const int32_t type :
       {kInt16MSB, kInt24MSB, kInt16LSB, kInt24LSB, kInt32LSB, kFloat32LSB, kFloat64LSB, int32_t{99}}) {
    const auto bytes = static_cast<size_t>(kLength * BytesPerSample(type));
    Buffer buffer(bytes + 8, 0x55);
    ClearBlock(type, buffer.data(), kLength);
    const float first[kLength] = {0.25f, 0.25f, -INFINITY, -0.5f, 0.25f, 0.75f, INFINITY};
    const float second[kLength] = {0.25f, NAN, -0.25f, -0.75f, NAN, 0.75f, 0.25f};
    AddBlock(type, buffer.data(), first, kLength);
    AddBlock(type, buffer.data(), second, kLength);
    float out[kLength + 1] = {0, 0, 0, 0, 0, 0, 0, 42.0f};
    ReadBlock(type, buffer.data(), out, kLength);
    const float expected[kLength] = {0.5f, 0.25f, -1.0f, -1.0f, 0.25f, 1.0f, 1.0f};
    for (int32_t k = 0; k < kLength; ++k) {
      EXPECT_NEAR(out[k], expected[k], 1.0f / 32768.0f) << "type " << type << " sample " << k;
    }
    EXPECT_EQ(out[kLength], 42.0f);
    WriteBlock(type, buffer.data(), first, kLength);
    for (size_t k = bytes; k < buffer.size(); ++k) {
      EXPECT_EQ(buffer[k], 0x55) << "type " << type;
    }
  }
}

}  // namespace
}  // namespace tarnwick::sound
