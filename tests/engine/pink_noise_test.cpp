#include "engine/pink_noise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace tarnwick::engine {
namespace {

double levelDb(double meanSquare) {
  return 10.0 * std::log10(meanSquare);
}

TEST(PinkNoise, SettlesAtMinus18DecibelsWithinFullScale) {
  PinkNoise pink;
  pink.block.resize(64);
  constexpr int kSettling = 3 * 750;
  constexpr int kBlocks = 8 * 750;
  double sum = 0.0;
  for (int block = 0; block < kBlocks; ++block) {
    FillPinkBlock(pink, 64, 48000.0);
    for (const float sample : pink.block) {
      ASSERT_LE(std::fabs(sample), 1.0f);
      sum += block >= kSettling ? static_cast<double>(sample) * sample : 0.0;
    }
  }
  EXPECT_NEAR(levelDb(sum / ((kBlocks - kSettling) * 64)), -18.0, 0.5);
}

TEST(PinkNoise, FallsThreeDecibelsAnOctave) {
  PinkNoise pink;
  constexpr int kLength = 4096;
  double power[3] = {};
  const double bins[3] = {40, 160, 640};  // two octaves apart: about 6 dB each
  for (int round = 0; round < 100; ++round) {
    std::vector<double> samples(kLength);
    for (double& sample : samples) {
      sample = NextPinkSample(pink);
    }
    for (int band = 0; band < 3; ++band) {
      for (int offset = -4; offset <= 4; ++offset) {
        std::complex<double> sum;
        for (int k = 0; k < kLength; ++k) {
          sum += samples[static_cast<size_t>(k)] *
                 std::polar(1.0, -2.0 * std::numbers::pi * (bins[band] + offset) * k / kLength);
        }
        power[band] += std::norm(sum);
      }
    }
  }
  EXPECT_NEAR(levelDb(power[0] / power[1]), 6.0, 1.0);
  EXPECT_NEAR(levelDb(power[1] / power[2]), 6.0, 1.0);
}

}  // namespace
}  // namespace tarnwick::engine
