// Conversion between the sample types of device buffers and float. Sample k of a buffer lies at byte
// k x BytesPerSample(type). Everything here is real-time safe and touches only the bytes of the samples named.
#pragma once

#include <cstdint>

namespace tarnwick::sound {

// Sample k as float: integers scaled by 1 / (largest magnitude of the type), floats as they are.
float ReadSample(int32_t type, const void* buffer, int32_t k) noexcept;

// Writes sample k: integers rounded to the nearest value (ties to even) and clamped to the type's range, floats as they
// are. A value that is not a number is written as 0. What ReadSample gave is written back unchanged, but for 32-bit
// integers, of which a float carries the upper 24 bits.
void WriteSample(int32_t type, void* buffer, int32_t k, float value) noexcept;

// Reads samples 0..n-1 into `out`.
void ReadBlock(int32_t type, const void* buffer, float* out, int32_t n) noexcept;

// Writes n samples of silence.
void ClearBlock(int32_t type, void* buffer, int32_t n) noexcept;

// Adds `in` to samples 0..n-1. The sum is clamped to -1..+1 where the type is a float one, to its range otherwise; a
// sample of `in` that is not a number counts as 0.
void AddBlock(int32_t type, void* buffer, const float* in, int32_t n) noexcept;

}  // namespace tarnwick::sound
