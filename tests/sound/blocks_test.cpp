#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "platform/audio/audio_driver.h"
#include "sound/block_ops.h"
#include "sound/block_ring.h"
#include "sound/sample_format.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

// Scale, order of the bytes, rounding (ties to even) and clamping, wherever in a block the sample stands; sums, and
// nothing that is not a number.
TEST(SampleFormat, EveryValueHasItsBytes) {
  constexpr double k16 = 32768.0;
  constexpr double k24 = 8388608.0;
  constexpr double k32 = 2147483648.0;
  const struct {
    int32_t type;
    double value;
    std::vector<uint8_t> bytes;
    double readBack;
  } cases[] = {
      {kInt16MSB, 0.5, {0x40, 0x00}, 0.5},
      {kInt16LSB, -1.6 / k16, {0xFE, 0xFF}, -2.0 / k16},
      {kInt16LSB, 0.5 / k16, {0x00, 0x00}, 0.0},
      {kInt16LSB, 1.5 / k16, {0x02, 0x00}, 2.0 / k16},
      {kInt16LSB, 1.0, {0xFF, 0x7F}, 32767.0 / k16},
      {kInt16MSB, -7.0, {0x80, 0x00}, -1.0},
      {kInt24MSB, 2.0, {0x7F, 0xFF, 0xFF}, 8388607.0 / k24},
      {kInt24MSB, -4194305.5 / k24, {0xBF, 0xFF, 0xFE}, -4194306.0 / k24},
      {kInt32LSB, 0.5 / k32, {0, 0, 0, 0}, 0.0},
      {kInt32LSB, -1.5 / k32, {0xFE, 0xFF, 0xFF, 0xFF}, -2.0 / k32},
      {kInt32LSB, 1.0 - 1.0 / 16777216.0, {0x80, 0xFF, 0xFF, 0x7F}, 1.0 - 1.0 / 16777216.0},
      {kInt32LSB, INFINITY, {0xFF, 0xFF, 0xFF, 0x7F}, 1.0},
      {kInt32LSB, -INFINITY, {0x00, 0x00, 0x00, 0x80}, -1.0},
      {99, -0.25, {0x00, 0x00, 0x00, 0xE0}, -0.25},
      {kFloat32LSB, -2.0, {0, 0, 0x80, 0xBF}, -1.0},
      {kFloat64LSB, 0.5, {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, 0.5},
  };
  constexpr int32_t kLength = 7;  // not a multiple of the vectors'
  const float nothing[kLength] = {NAN, NAN, NAN, NAN, NAN, NAN, NAN};
  for (const auto& c : cases) {
    for (int32_t at = 0; at < kLength; ++at) {
      SCOPED_TRACE(testing::Message() << "type " << c.type << ", " << c.value << " at " << at);
      const auto byteAt = [&](int32_t sample) { return sample * BytesPerSample(c.type); };
      float samples[kLength + 1] = {0, 0, 0, 0, 0, 0, 0, 42.0f};
      samples[at] = static_cast<float>(c.value);
      std::vector<uint8_t> expected(static_cast<size_t>(byteAt(kLength)));
      std::copy(c.bytes.begin(), c.bytes.end(), expected.begin() + byteAt(at));
      std::vector<uint8_t> buffer(expected.size() + 8, 0x55);  // what lies behind the block stays
      expected.resize(buffer.size(), 0x55);
      ClearBlock(c.type, buffer.data(), kLength);
      AddBlock(c.type, buffer.data(), samples, kLength);
      AddBlock(c.type, buffer.data(), nothing, kLength);
      EXPECT_EQ(buffer, expected);
      ReadBlock(c.type, buffer.data(), samples, kLength);
      EXPECT_EQ(samples[at], static_cast<float>(c.readBack));
      EXPECT_EQ(samples[kLength], 42.0f);
      samples[at] = -2.5f;
      AddBlock(c.type, buffer.data(), samples, kLength);
      samples[at] = 0.25f;
      AddBlock(c.type, buffer.data(), samples, kLength);
      ReadBlock(c.type, buffer.data(), samples, kLength);
      EXPECT_EQ(samples[at], -0.75f) << "clipped, then summed";
    }
  }
}

// Lengths on both sides of every vector's; what lies beyond the block stays out of it.
TEST(BlockOps, EverySampleCountsAndNoOther) {
  for (int32_t n = 0; n <= 70; ++n) {
    SCOPED_TRACE(n);
    std::vector<float> samples;
    double squares = 0.0;
    for (int32_t k = 1; k <= n + 1; ++k) {
      samples.push_back(static_cast<float>(k) + 0.1f);
      squares += k <= n ? static_cast<double>(samples.back()) * samples.back() : 0.0;
    }
    const SumForms forms = SumOfSquaresForms();
    for (const SumForm form : {&SumOfSquares, forms.narrow, forms.wide}) {
      EXPECT_NEAR(form != nullptr ? form(samples.data(), n) : squares, squares, 1e-14 * squares);
    }
    EXPECT_EQ(PeakOfBlock(samples.data(), n), n > 0 ? static_cast<float>(n) + 0.1f : 0.0f);
    std::vector<float> expected = samples;
    for (size_t k = 0; k < static_cast<size_t>(n); ++k) {
      expected[k] *= -0.5f;
    }
    MultiplyBlock(samples.data(), -0.5f, n);
    EXPECT_EQ(samples, expected);
  }
}

// Blocks of several cache lines, every sample of a block derived from its number: one that is torn, lost or doubled has
// other samples.
TEST(BlockRing, TwoThreadsPassWholeBlocksInOrder) {
  constexpr size_t kSamples = 97;
  constexpr uint32_t kBlocks = 5000;
  const auto sampleOf = [](uint32_t block, size_t k) {
    return static_cast<float>((block * 2654435761u + static_cast<uint32_t>(k) * 40503u) >> 9);
  };
  for (const size_t blocks : {1u, 5u}) {
    BlockRing ring(blocks, kSamples);
    std::thread writing([writer = BlockRing::Writer(ring), &sampleOf]() mutable {
      for (uint32_t block = 0; block < kBlocks; ++block) {
        float* room = nullptr;
        while ((room = writer.acquire()) == nullptr) {
          std::this_thread::yield();
        }
        for (size_t k = 0; k < kSamples; ++k) {
          room[k] = sampleOf(block, k);
        }
        writer.commit();
      }
    });
    BlockRing::Reader reader(ring);
    uint32_t wrong = 0;
    for (uint32_t block = 0; block < kBlocks; ++block) {
      while (reader.front() == nullptr) {
        std::this_thread::yield();
      }
      for (size_t k = 0; k < kSamples; ++k) {
        wrong += reader.front()[k] == sampleOf(block, k) ? 0 : 1;
      }
      reader.pop();
    }
    writing.join();
    EXPECT_EQ(wrong, 0u);
  }
}

}  // namespace
}  // namespace tarnwick::sound
