#include "sound/block_ops.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace tarnwick::sound {
namespace {

std::vector<float> ascending(int32_t n) {
  std::vector<float> samples(static_cast<size_t>(n));
  std::iota(samples.begin(), samples.end(), 1.0f);
  return samples;
}

// Lengths on both sides of every vector's; what lies beyond the block stays out of it.
TEST(BlockOps, EverySampleCountsAndNoOther) {
  for (int32_t n = 0; n <= 70; ++n) {
    SCOPED_TRACE(n);
    std::vector<float> samples = ascending(n + 1);
    EXPECT_EQ(PeakOfBlock(samples.data(), n), static_cast<float>(n));
    EXPECT_TRUE(n == 0 || !AllZero(samples.data(), n));
    EXPECT_FALSE(AnyZero(samples.data(), n));
    const double squares = n * (n + 1.0) * (2.0 * n + 1.0) / 6.0;
    const SumForms forms = SumOfSquaresForms();
    EXPECT_EQ(SumOfSquares(samples.data(), n), squares);
    EXPECT_EQ(forms.narrow(samples.data(), n), squares);
    if (forms.wide != nullptr) {
      EXPECT_EQ(forms.wide(samples.data(), n), squares);
    }
    std::vector<float> expected = samples;
    std::transform(expected.begin(), expected.end() - 1, expected.begin(), [](float sample) { return -0.5f * sample; });
    MultiplyBlock(samples.data(), -0.5f, n);
    EXPECT_EQ(samples, expected);
    EXPECT_EQ(PeakOfBlock(samples.data(), n), 0.5f * static_cast<float>(n));
  }
}

TEST(BlockOps, TheFormsOfASumDifferByRoundingAlone) {
  const SumForms forms = SumOfSquaresForms();
  if (forms.wide == nullptr) {
    GTEST_SKIP() << "this processor has no wider vectors";
  }
  std::vector<float> samples(1000);
  for (size_t k = 0; k < samples.size(); ++k) {
    samples[k] = std::sin(static_cast<float>(k * k)) * std::pow(10.0f, -static_cast<float>(k % 6));
  }
  for (int32_t n = 900; n <= 1000; ++n) {
    const double narrow = forms.narrow(samples.data(), n);
    EXPECT_NEAR(forms.wide(samples.data(), n) / narrow, 1.0, 1e-14) << n;
  }
}

}  // namespace
}  // namespace tarnwick::sound
