#include "engine/glitch_detector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace tarnwick::engine {
namespace {

constexpr int32_t kBlockLength = 8;

// Feeds one block per letter: s = signal, 0 = silence, m = silence but for one sample, z = signal with one zero,
// n = silence with a sample that is not a number.
uint64_t countAfter(GlitchDetector& detector, const std::string& blocks) {
  for (const char kind : blocks) {
    float* block = NextHistoryBlock(detector, kBlockLength);
    std::fill_n(block, kBlockLength, kind == 's' || kind == 'z' ? 0.25f : 0.0f);
    if (kind == 'm' || kind == 'n') {
      block[5] = kind == 'm' ? 0.1f : NAN;
    } else if (kind == 'z') {
      block[7] = 0.0f;
    }
    EvaluateHistory(detector);
  }
  return detector.glitchCount;
}

TEST(GlitchDetector, CountsOnlyAnIsolatedSilentBlock) {
  const struct {
    const char* blocks;
    uint64_t count;
  } cases[] = {{"ss0sss", 1}, {"s0s0s", 2}, {"s00s", 0}, {"0s", 0}, {"s0", 0},
               {"sms", 0},    {"z0s", 0},   {"s0z", 0},  {"sns", 0}};
  for (const auto& c : cases) {
    GlitchDetector detector;
    ArmDetector(detector, kBlockLength);
    EXPECT_EQ(countAfter(detector, c.blocks), c.count) << c.blocks;
  }
}

TEST(GlitchDetector, SaturatesAndForgets) {
  GlitchDetector detector;
  ArmDetector(detector, kBlockLength);
  detector.glitchCount = kMaximumGlitchCount - 1;
  EXPECT_EQ(countAfter(detector, "s0s0s0s"), kMaximumGlitchCount);
  ArmDetector(detector, kBlockLength);
  EXPECT_EQ(countAfter(detector, "s0"), 0u);
  ForgetBlocks(detector);
  EXPECT_EQ(countAfter(detector, "s"), 0u) << "the pattern may not span what was forgotten";
}

}  // namespace
}  // namespace tarnwick::engine
