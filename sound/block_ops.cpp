#include "sound/block_ops.h"

#include <cmath>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "sound/lanes.h"

namespace tarnwick::sound {
namespace {

using lanes::Clamp;
using lanes::Float4;
using lanes::kLanes;
using lanes::Load;
using lanes::Store;
using Double2 = double __attribute__((vector_size(16)));

double addSquares(double sum, const float* in, int32_t n) noexcept {
  for (int32_t k = 0; k < n; ++k) {
    const double sample = in[k];
    sum += sample * sample;
  }
  return sum;
}

double squaresNarrow(const float* in, int32_t n) noexcept {
  Double2 sums[2] = {};
  int32_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    const Float4 sample = Load(in + k);
    const Double2 low = {static_cast<double>(sample[0]), static_cast<double>(sample[1])};
    const Double2 high = {static_cast<double>(sample[2]), static_cast<double>(sample[3])};
    sums[0] += low * low;
    sums[1] += high * high;
  }
  const Double2 sum = sums[0] + sums[1];
  return addSquares(sum[0] + sum[1], in + k, n - k);
}

#if defined(__x86_64__)
using Wide = __m256d;

[[gnu::target("avx2,fma")]] inline void addFour(Wide& sum, const float* in) noexcept {
  const Wide sample = _mm256_cvtps_pd(_mm_loadu_ps(in));
  sum = _mm256_fmadd_pd(sample, sample, sum);
}

// For a processor with the wider unit. The sums stay in registers: on Windows the compiler does not align the stack for
// vectors of this width.
[[gnu::target("avx2,fma")]] double squaresWide(const float* in, int32_t n) noexcept {
  Wide a = _mm256_setzero_pd();
  Wide b = a;
  Wide c = a;
  Wide d = a;
  int32_t k = 0;
  for (; k + 16 <= n; k += 16) {
    addFour(a, in + k);
    addFour(b, in + k + 4);
    addFour(c, in + k + 8);
    addFour(d, in + k + 12);
  }
  for (; k + kLanes <= n; k += kLanes) {
    addFour(a, in + k);
  }
  const Wide all = _mm256_add_pd(_mm256_add_pd(a, b), _mm256_add_pd(c, d));
  const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(all), _mm256_extractf128_pd(all, 1));
  return addSquares(_mm_cvtsd_f64(half) + _mm_cvtsd_f64(_mm_unpackhi_pd(half, half)), in + k, n - k);
}

SumForm widest() noexcept {
  __builtin_cpu_init();  // may be asked for before main
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &squaresWide : nullptr;
}
#else
SumForm widest() noexcept {
  return nullptr;
}
#endif

const SumForms kSumForms = {&squaresNarrow, widest()};
const SumForm kSumOfSquares = kSumForms.wide != nullptr ? kSumForms.wide : kSumForms.narrow;

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

double SumOfSquares(const float* in, int32_t n) noexcept {
  return kSumOfSquares(in, n);
}

SumForms SumOfSquaresForms() noexcept {
  return kSumForms;
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
