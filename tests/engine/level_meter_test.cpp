#include "engine/level_meter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

namespace tarnwick::engine {
namespace {

// The rule sample by sample, which defines the result.
struct PlainMeter {
  std::vector<float> ring;
  double sumSquares = 0.0;
  size_t writeIndex = 0;
  size_t fillCount = 0;

  explicit PlainMeter(size_t window) : ring(window) {}
  void feed(float sample) {
    if (fillCount < ring.size()) {
      fillCount += 1;
    } else {
      sumSquares -= static_cast<double>(ring[writeIndex]) * ring[writeIndex];
    }
    ring[writeIndex] = sample;
    writeIndex = (writeIndex + 1) % ring.size();
    sumSquares += static_cast<double>(sample) * sample;
  }
  float levelDb() const {
    const double rms = fillCount > 0 ? std::sqrt(std::max(0.0, sumSquares) / static_cast<double>(fillCount)) : 0.0;
    return 20.0f * std::log10(std::max(1e-9f, static_cast<float>(rms)));
  }
};

struct Meter {
  MeterBank bank{1};
  explicit Meter(double rate) { bank.prepare(rate); }
  MeterRing& ring() { return bank.ring(0); }
  void feed(const std::vector<float>& samples) {
    FeedRing(ring(), bank.window(), samples.data(), static_cast<int32_t>(samples.size()));
  }
  float levelDb() { return RingLevelDb(ring()); }
};

TEST(LevelMeter, WindowIsATenthOfASecond) {
  const struct {
    double rate;
    int32_t window;
  } cases[] = {{48000.0, 4800}, {44100.0, 4410}, {22.0, 2}, {1.1, 1}, {1.0, 4800}, {0.0, 4800}, {std::nan(""), 4800}};
  for (const auto& c : cases) {
    EXPECT_EQ(MeterWindowLength(c.rate), c.window) << c.rate;
  }
}

TEST(LevelMeter, BlockwiseEqualsTheSampleBySampleRule) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
  // Window lengths that blocks divide, do not divide, and that are shorter than a block.
  for (const double rate : {48000.0, 44100.0, 600.0, 10.0}) {
    Meter meter(rate);
    PlainMeter plain(static_cast<size_t>(MeterWindowLength(rate)));
    for (int block = 0; block < 300; ++block) {
      std::vector<float> samples(static_cast<size_t>(1 + static_cast<int>(random() % 200)));
      const float scale = block % 7 == 0 ? 0.001f : 1.0f;
      for (float& sample : samples) {
        sample = noise(random) * scale;
        plain.feed(sample);
      }
      meter.feed(samples);
      ASSERT_EQ(static_cast<size_t>(meter.ring().fillCount), plain.fillCount);
      ASSERT_EQ(static_cast<size_t>(meter.ring().writeIndex), plain.writeIndex);
      ASSERT_NEAR(meter.levelDb(), plain.levelDb(), 1e-4f) << "rate " << rate << " block " << block;
    }
  }
}

TEST(LevelMeter, FullScaleSineReadsMinusThree) {
  Meter meter(48000.0);
  std::vector<float> sine(1000);
  for (size_t k = 0; k < sine.size(); ++k) {
    sine[k] = static_cast<float>(std::sin(2.0 * std::numbers::pi * 0.01 * static_cast<double>(k)));
  }
  meter.feed(sine);
  EXPECT_NEAR(meter.levelDb(), -3.01f, 0.01f);  // over the samples fed so far
  for (int k = 0; k < 10; ++k) {
    meter.feed(sine);
  }
  EXPECT_NEAR(meter.levelDb(), -3.01f, 0.05f);
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
  meter.bank.adoptRate(48000.3);
  meter.feed({0.5f});
  EXPECT_EQ(meter.ring().fillCount, 1);
  meter.bank.adoptRate(96000.0);
  meter.feed(std::vector<float>(9700, 0.25f));
  EXPECT_EQ(meter.ring().fillCount, 9600);
  EXPECT_NEAR(meter.levelDb(), -12.04f, 0.01f);
  meter.bank.adoptRate(10e6);  // beyond the storage: the window is cut, nothing is written outside
  meter.feed(std::vector<float>(200000, 0.25f));
  EXPECT_EQ(meter.ring().length, meter.ring().capacity);
}

}  // namespace
}  // namespace tarnwick::engine
