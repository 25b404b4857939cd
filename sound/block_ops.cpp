#include "sound/block_ops.h"

#include <cmath>
#include <cstring>

namespace tarnwick::sound {
namespace {

// Four lanes in the compiler's own vector types: every x86-64 and ARM64 has them, so no dispatch is needed.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int32_t __attribute__((vector_size(16)));
using Double2 = double __attribute__((vector_size(16)));
constexpr int32_t kLanes = 4;

Float4 load4(const float* from) noexcept {
  Float4 value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

void store4(float* to, Float4 value) noexcept {
  std::memcpy(to, &value, sizeof value);
}

Double2 lowHalf(Float4 v) noexcept {
  return Double2{static_cast<double>(v[0]), static_cast<double>(v[1])};
}
Double2 highHalf(Float4 v) noexcept {
  return Double2{static_cast<double>(v[2]), static_cast<double>(v[3])};
}

Float4 select(Int4 mask, Float4 yes, Float4 no) noexcept {
  return reinterpret_cast<Float4>((mask & reinterpret_cast<Int4>(yes)) | (~mask & reinterpret_cast<Int4>(no)));
}

float addClamped(float out, float in) noexcept {
  const float sum = out + (in == in ? in : 0.0f);
  return sum > 1.0f ? 1.0f : sum < -1.0f ? -1.0f : sum;
}

}  // namespace

void MultiplyBlock(float* data, float gain, int32_t n) noexcept {
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    store4(data + k, load4(data + k) * gain);
  }
  for (; k < n; ++k) {
    data[k] *= gain;
  }
}

void AddClampedBlock(float* out, const float* in, int32_t n) noexcept {
  const Float4 one = {1.0f, 1.0f, 1.0f, 1.0f};
  const Float4 zero = {};
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    const Float4 sample = load4(in + k);
    Float4 sum = load4(out + k) + select(sample == sample, sample, zero);
    sum = select(sum > one, one, sum);
    sum = select(sum < -one, -one, sum);
    store4(out + k, sum);
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
    const Float4 sample = load4(in + k);
    const Float4 old = load4(ring + k);
    store4(ring + k, sample);
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
    const Float4 sample = load4(in + k);
    const Float4 magnitude = select(sample < Float4{}, -sample, sample);
    peaks = select(magnitude > peaks, magnitude, peaks);
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
