#include "engine/pink_noise.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace tarnwick::engine {
namespace {

// Golden values, computed from the published formulas by a program of its own (double precision).
TEST(PinkNoise, FollowsItsFormulasSampleBySample) {
  const struct {
    int sample;
    double value;
  } cases[] = {{0, -0.36643358023852707}, {1, -0.3515859049300367},  {2, 0.38601501444740705},
               {3, -0.09259241146912672}, {10, -1.5942916996548822}, {100, 0.1968886166790928},
               {1999, 3.2728400832086377}};
  PinkNoise pink;
  int drawn = 0;
  double value = 0.0;
  for (const auto& c : cases) {
    for (; drawn <= c.sample; ++drawn) {
      value = NextPinkSample(pink);
    }
    EXPECT_NEAR(value, c.value, 1e-12) << "sample " << c.sample;
  }
}

TEST(PinkNoise, BlocksAreScaledByTheSmoothedPower) {
  const struct {
    int block;
    float samples[4];  // 0, 1, 31 and 63
  } cases[] = {{0, {-0.000155630026711151f, -0.07164569944143295f, -0.019751736894249916f, 0.09198649972677231f}},
               {99, {0.04748016968369484f, 0.1392173171043396f, -0.07379169017076492f, -0.19910024106502533f}}};
  PinkNoise pink;
  pink.block.resize(64);
  int filled = 0;
  for (const auto& c : cases) {
    for (; filled <= c.block; ++filled) {
      FillPinkBlock(pink, 64, 48000.0);
    }
    for (const auto& [k, sample] :
         {std::pair(0u, c.samples[0]), {1u, c.samples[1]}, {31u, c.samples[2]}, {63u, c.samples[3]}}) {
      EXPECT_NEAR(pink.block[k], sample, 1e-7f) << "block " << c.block << ", sample " << k;
    }
  }
  pink.meanSquare = 1e-9;  // after near silence the gain would leave full scale
  FillPinkBlock(pink, 64, 48e9);
  for (const float sample : pink.block) {
    EXPECT_LE(std::abs(sample), 1.0f);
  }
}

}  // namespace
}  // namespace tarnwick::engine
