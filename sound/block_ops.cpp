#include "sound/block_ops.h"

#include <cmath>

#include "sound/lanes.h"

namespace tarnwick::sound {
namespace {

using lanes::Clamp;
using lanes::Float4;
using lanes::kLanes;
using lanes::Load;
using lanes::Store;
using Double2 = double __attribute__((vector_size(16)));

Double2 lowHalf(Float4 v) noexcept {
  return Double2{static_cast<double>(v[0]), static_cast<double>(v[1])};
}
Double2 highHalf(Float4 v) noexcept {
  return Double2{static_cast<double>(v[2]), static_cast<double>(v[3])};
}

float addClamped(float out, float in) noexcept {
  const float sum = out + (in == in ? in : 0.0f);
  return sum > 1.0f ? 1.0f : sum < -1.0f ? -1.0f : sum;
}

}  // namespace

void MultiplyBlock(float* data, float gain, int32_t n) noexcept {
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    Store(data + k, Load(data + k) * gain);
  }
  for (; k < n; ++k) {
    data[k] *= gain;
  }
}

void AddClampedBlock(float* out, const float* in, int32_t n) noexcept {
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    Store(out + k, Clamp(Load(out + k) + lanes::NumbersOf(Load(in + k)), -1.0f, 1.0f));
  }
  for (; k < n; ++k) {
    out[k] = addClamped(out[k], in[k]);
  }
}

RingSums ExchangeSquares(float* ring, const float* in, int32_t n) noexcept {
  Double2 entering[2] = {};
  Double2 leaving[2] = {};
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    const Float4 sample = Load(in + k);
    const Float4 old = Load(ring + k);
    Store(ring + k, sample);
    const Double2 sampleLow = lowHalf(sample);
    const Double2 sampleHigh = highHalf(sample);
    const Double2 oldLow = lowHalf(old);
    const Double2 oldHigh = highHalf(old);
    entering[0] += sampleLow * sampleLow;
    entering[1] += sampleHigh * sampleHigh;
    leaving[0] += oldLow * oldLow;
    leaving[1] += oldHigh * oldHigh;
  }
  const Double2 entered = entering[0] + entering[1];
  const Double2 left = leaving[0] + leaving[1];
  RingSums sums{entered[0] + entered[1], left[0] + left[1]};
  for (; k < n; ++k) {
    const double sample = in[k];
    const double old = ring[k];
    ring[k] = in[k];
    sums.entering += sample * sample;
    sums.leaving += old * old;
  }
  return sums;
}

float PeakOfBlock(const float* in, int32_t n) noexcept {
  Float4 peaks = {};
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    const Float4 sample = Load(in + k);
    const Float4 magnitude = sample < Float4{} ? -sample : sample;
    peaks = magnitude > peaks ? magnitude : peaks;
  }
  float peak = 0.0f;
  for (int32_t lane = 0; lane < kLanes; ++lane) {
    peak = peaks[lane] > peak ? peaks[lane] : peak;
  }
  for (; k < n; ++k) {
    const float magnitude = std::fabs(in[k]);
    peak = magnitude > peak ? magnitude : peak;
  }
  return peak;
}

bool AllZero(const float* in, int32_t n) noexcept {
  for (int32_t k = 0; k < n; ++k) {
    if (!(in[k] == 0.0f)) {
      return false;
    }
  }
  return true;
}

bool AnyZero(const float* in, int32_t n) noexcept {
  for (int32_t k = 0; k < n; ++k) {
    if (in[k] == 0.0f) {
      return true;
    }
  }
  return false;
}

}  // namespace tarnwick::sound
