// The one conversion between float and the sample types of device buffers and files. Sample k of a buffer lies at byte
// k x BytesPerSample(type); a type that is none of the k...LSB / k...MSB numbers is a 32-bit integer in the machine's
// order. `n` >= 0. Everything here is real-time safe and touches only the bytes of the samples named; any thread.
#pragma once

#include <cstdint>

namespace tarnwick::sound {

// Reads samples 0..n-1 into `out`: integers scaled by 1 / (largest magnitude of the type), floats as they are.
void ReadBlock(int32_t type, const void* buffer, float* out, int32_t n) noexcept;

// Writes n samples of silence.
void ClearBlock(int32_t type, void* buffer, int32_t n) noexcept;

// Adds `in` to samples 0..n-1; a sample of `in` that is not a number counts as 0. The sum is clamped to -1..+1 where
// the type is a float one; otherwise it is rounded to the nearest value (ties to even) and clamped to the type's range.
// Added to silence, what ReadBlock gave is written back unchanged, but for 32-bit integers, of which a float carries
// the upper 24 bits.
void AddBlock(int32_t type, void* buffer, const float* in, int32_t n) noexcept;

}  // namespace tarnwick::sound
