// The inner loops over blocks of samples. Real-time safe; `n` >= 0; nothing here looks at a clock or a setting.
#pragma once

#include <cstdint>

namespace tarnwick::sound {

// data[k] *= gain
void MultiplyBlock(float* data, float gain, int32_t n) noexcept;

// out[k] = clamp(out[k] + in[k], -1, +1), where a sample of `in` that is not a number counts as 0.
void AddClampedBlock(float* out, const float* in, int32_t n) noexcept;

// Sum of the squares of a block, in double precision; every square is exact.
double SumOfSquares(const float* in, int32_t n) noexcept;
// The forms that SumOfSquares chooses from: for every processor, and for one with wider vectors; null where this is
// none.
using SumForm = double (*)(const float* in, int32_t n) noexcept;
struct SumForms {
  SumForm narrow = nullptr;
  SumForm wide = nullptr;
};
SumForms SumOfSquaresForms() noexcept;

// Largest magnitude of a block; samples that are not numbers are left out.
float PeakOfBlock(const float* in, int32_t n) noexcept;

// Whether every sample equals 0.0, and whether any does.
bool AllZero(const float* in, int32_t n) noexcept;
bool AnyZero(const float* in, int32_t n) noexcept;

}  // namespace tarnwick::sound
