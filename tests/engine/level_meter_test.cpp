#include "engine/level_meter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>

namespace tarnwick::engine {
namespace {

struct Meter {
  MeterBank bank{1};
  int32_t block;
  std::mt19937 random{7};
  Meter(double rate, int32_t blockLength) : block(blockLength) { bank.prepare(rate, blockLength); }
  MeterRing& ring() { return bank.ring(0); }
  // In pieces of at most this many samples.
  void feed(const std::vector<float>& samples, int32_t piece = 1 << 30) {
    const auto n = static_cast<int32_t>(samples.size());
    for (int32_t at = 0; at < n; at += piece) {
      FeedRing(ring(), bank.window(), samples.data() + at, std::min(piece, n - at));
    }
  }
  void feedBlocks(int count, float value) { feed(std::vector<float>(static_cast<size_t>(count * block), value)); }
  std::vector<float> noise(float scale) {
    std::uniform_real_distribution<float> samples(-scale, scale);
    std::vector<float> one(static_cast<size_t>(block));
    std::generate(one.begin(), one.end(), [&] { return samples(random); });
    return one;
  }
  float levelDb() { return RingLevelDb(ring()); }
};

TEST(LevelMeter, AtTheEndOfABlockEqualsTheSampleBySampleRule) {
  const struct {
    double rate;
    int32_t block;
    size_t window;  // a tenth of a second
    int32_t piece;
  } cases[] = {
      {48000, 64, 4800, 64},    // whole blocks
      {44100, 64, 4410, 64},    // and a part of one
      {44100, 600, 4410, 256},  // as the blocks of an integer device come
      {48000, 100, 4800, 33},  {600, 60, 60, 60}, {500, 60, 50, 7},
      {10, 64, 1, 64},         {480, 1, 48, 1},   {96000, 16384, 9600, 256},
  };
  for (const auto& c : cases) {
    Meter meter(c.rate, c.block);
    std::vector<double> squares;
    const int blocks = static_cast<int>(3 * c.window / static_cast<size_t>(c.block)) + 7;
    for (int block = 0; block < blocks; ++block) {
      const std::vector<float> samples = meter.noise(block % 7 == 0 ? 0.001f : 1.0f);
      std::transform(samples.begin(), samples.end(), std::back_inserter(squares),
                     [](float sample) { return static_cast<double>(sample) * sample; });
      meter.feed(samples, c.piece);
      const size_t held = std::min(c.window, squares.size());
      ASSERT_EQ(static_cast<size_t>(meter.ring().fillCount), held);
      const double sum = std::accumulate(squares.end() - static_cast<ptrdiff_t>(held), squares.end(), 0.0);
      ASSERT_NEAR(meter.levelDb(), 10.0 * std::log10(sum / static_cast<double>(held)), 1e-4)
          << "rate " << c.rate << ", blocks of " << c.block << ", block " << block;
    }
  }
}

TEST(LevelMeter, RoundingDoesNotPileUp) {
  // Loud and soft in turn, for as many laps as leave a visible rest in a sum that is only ever added to and taken from.
  Meter meter(10000.0, 37);
  for (int block = 0; block < 100000; ++block) {
    meter.feed(meter.noise(block % 2 == 0 ? 1.0f : 1e-4f));
  }
  meter.feedBlocks(2 * 28, 0.0f);
  EXPECT_EQ(meter.levelDb(), -180.0f);  // exact silence after two laps of it
}

TEST(LevelMeter, RecoversFromSamplesThatAreNotNumbers) {
  for (const int32_t block : {64, 10}) {
    Meter meter(1000.0, block);
    meter.feedBlocks(9, 0.5f);
    for (const float wrong : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
      meter.feed(std::vector<float>(static_cast<size_t>(block), wrong));
    }
    meter.feedBlocks(2 * (100 / block + 1), 0.5f);
    EXPECT_NEAR(meter.levelDb(), -6.02f, 0.01f);
  }
}

TEST(LevelMeter, ANewRateEmptiesTheRingsAndNeedsNoRoom) {
  Meter meter(48000.0, 64);
  meter.feedBlocks(75, 1.0f);
  const MeterBlock* storage = meter.ring().blocks;
  meter.bank.adoptRate(48000.2);  // within a quarter of a hertz of the rate last used
  meter.feed({});
  EXPECT_EQ(meter.ring().fillCount, 4800);
  const struct {
    double rate;
    int32_t window;
  } cases[] = {{96000.0, 9600}, {1.0, 4800}, {384000.0, 38400}, {std::nan(""), 4800}, {10e6, 38400}};
  for (const auto& c : cases) {
    meter.bank.adoptRate(c.rate);
    EXPECT_EQ(meter.bank.window().length, c.window) << c.rate;
    meter.feedBlocks(1, 1.0f);
    EXPECT_EQ(meter.ring().fillCount, 64) << c.rate;
    meter.feedBlocks(c.window / 64 + 2, 0.25f);
    EXPECT_EQ(meter.ring().fillCount, c.window) << c.rate;
    EXPECT_NEAR(meter.levelDb(), -12.04f, 0.01f) << c.rate;
  }
  EXPECT_EQ(meter.ring().blocks, storage);
  meter.bank.prepare(48000.0, 16);  // a session with shorter blocks
  meter.block = 16;
  meter.feedBlocks(301, 0.5f);
  EXPECT_EQ(meter.ring().fillCount, 4800);
  EXPECT_NEAR(meter.levelDb(), -6.02f, 0.01f);
}

}  // namespace
}  // namespace tarnwick::engine
