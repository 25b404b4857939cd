#include "engine/pink_noise.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tarnwick::engine {
namespace {

constexpr int32_t kCalibrationSamples = 8192;
constexpr double kSmallestPower = 1e-12;
constexpr double kSmoothingSeconds = 3.0;
constexpr double kTargetRms = 0.12589254117941673;  // -18 dBFS

double nextWhite(uint32_t& state) noexcept {
  uint32_t x = state;
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  state = x;
  return static_cast<double>(std::bit_cast<int32_t>(x)) * 4.656612873077393e-10;
}

}  // namespace

double NextPinkSample(PinkNoise& p) noexcept {
  const double white = nextWhite(p.whiteState);
  p.b0 = 0.99886 * p.b0 + 0.0555179 * white;
  p.b1 = 0.99332 * p.b1 + 0.0750759 * white;
  p.b2 = 0.969 * p.b2 + 0.153852 * white;
  p.b3 = 0.8665 * p.b3 + 0.3104856 * white;
  p.b4 = 0.55 * p.b4 + 0.5329522 * white;
  p.b5 = -0.7616 * p.b5 - 0.016898 * white;
  const double pink = p.b0 + p.b1 + p.b2 + p.b3 + p.b4 + p.b5 + p.b6 + 0.5362 * white;
  p.b6 = 0.115926 * white;
  return pink;
}

void FillPinkBlock(PinkNoise& pink, int32_t n, double sampleRate) noexcept {
  if (n <= 0 || !(sampleRate > 1.0) || pink.block.size() < static_cast<size_t>(n)) {
    return;
  }
  if (!pink.calibrated) {
    double sum = 0.0;
    for (int32_t k = 0; k < kCalibrationSamples; ++k) {
      const double sample = NextPinkSample(pink);
      sum += sample * sample;
    }
    pink.meanSquare = std::max(kSmallestPower, sum * (1.0 / kCalibrationSamples));
    pink.calibrated = true;
  }
  double sum = 0.0;
  for (int32_t k = 0; k < n; ++k) {
    const double sample = NextPinkSample(pink);
    pink.block[static_cast<size_t>(k)] = static_cast<float>(sample);
    sum += sample * sample;
  }
  const double keep = std::exp(-n / (sampleRate * kSmoothingSeconds));
  const double blockPower = std::max(kSmallestPower, sum / n);
  pink.meanSquare = blockPower * (1.0 - keep) + keep * pink.meanSquare;
  const double gain = kTargetRms / std::sqrt(std::max(kSmallestPower, pink.meanSquare));
  for (int32_t k = 0; k < n; ++k) {
    float& sample = pink.block[static_cast<size_t>(k)];
    sample = static_cast<float>(std::clamp(sample * gain, -1.0, 1.0));
  }
}

}  // namespace tarnwick::engine
