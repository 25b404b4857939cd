#include "engine/level_meter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace tarnwick::engine {
namespace {

struct Meter {
  MeterBank bank{1};
  explicit Meter(double rate) { bank.prepare(rate); }
  MeterRing& ring() { return bank.ring(0); }
  void feed(const std::vector<float>& samples) {
    FeedRing(ring(), bank.window(), samples.data(), static_cast<int32_t>(samples.size()));
  }
  float levelDb() { return RingLevelDb(ring()); }
};

TEST(LevelMeter, BlockwiseEqualsTheSampleBySampleRule) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
  // A tenth of a second: lengths that blocks divide, do not divide, and that are shorter than a block.
  for (const auto& [rate, window] : {std::pair(48000.0, 4800u), {44100.0, 4410u}, {600.0, 60u}, {10.0, 1u}}) {
    Meter meter(rate);
    std::vector<double> squares;
    for (int block = 0; block < 300; ++block) {
      std::vector<float> samples(static_cast<size_t>(1 + static_cast<int>(random() % 200)));
      const float scale = block % 7 == 0 ? 0.001f : 1.0f;
      for (float& sample : samples) {
        sample = noise(random) * scale;
        squares.push_back(static_cast<double>(sample) * sample);
      }
      meter.feed(samples);
      const size_t held = std::min<size_t>(window, squares.size());
      ASSERT_EQ(static_cast<size_t>(meter.ring().fillCount), held);
      const double sum = std::accumulate(squares.end() - static_cast<ptrdiff_t>(held), squares.end(), 0.0);
      ASSERT_NEAR(meter.levelDb(), 10.0 * std::log10(sum / static_cast<double>(held)), 1e-4)
          << "rate " << rate << " block " << block;
    }
  }
}

TEST(LevelMeter, RoundingDoesNotPileUp) {
  // Loud and soft in turn, for as many laps as leave a visible rest in a sum that is only ever added to and taken from.
  Meter meter(10000.0);
  std::mt19937 random(1);
  std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
  std::vector<float> samples(37);
  for (int block = 0; block < 200000; ++block) {
    for (float& sample : samples) {
      sample = noise(random) * (block % 2 == 0 ? 1.0f : 1e-4f);
    }
    meter.feed(samples);
  }
  meter.feed(std::vector<float>(2000, 0.0f));
  EXPECT_EQ(meter.levelDb(), -180.0f);  // exact silence after two windows of it
}

TEST(LevelMeter, RecoversFromSamplesThatAreNotNumbers) {
  Meter meter(1000.0);
  meter.feed(std::vector<float>(250, 0.5f));
  meter.feed({std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()});
  meter.feed(std::vector<float>(200, 0.5f));
  EXPECT_NEAR(meter.levelDb(), -6.02f, 0.01f);
}

TEST(LevelMeter, ANewRateEmptiesTheRings) {
  Meter meter(48000.0);
  meter.feed(std::vector<float>(4800, 1.0f));
  meter.bank.adoptRate(48000.2);  // within a quarter of a hertz of the rate last used
  meter.feed({});
  EXPECT_EQ(meter.ring().fillCount, 4800);
  meter.bank.adoptRate(96000.0);
  meter.feed(std::vector<float>(9700, 0.25f));
  EXPECT_EQ(meter.ring().fillCount, 9600);
  EXPECT_NEAR(meter.levelDb(), -12.04f, 0.01f);
  for (const double rate : {1.0, std::nan("")}) {
    meter.bank.adoptRate(rate);
    EXPECT_EQ(meter.bank.window().length, 4800);
  }
  meter.bank.adoptRate(10e6);  // beyond the storage: the window is cut, nothing is written outside
  meter.feed(std::vector<float>(200000, 0.25f));
  EXPECT_EQ(meter.ring().length, meter.ring().capacity);
}

}  // namespace
}  // namespace tarnwick::engine
