// Samples of device buffers, one at a time, in all types.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "platform/audio_driver.h"

namespace tarnwick::tests {

// Writes `value` (-1 to 1) as sample `k` of a buffer.
inline void PutSample(uint8_t* buffer, int32_t type, int32_t k, double value) {
  const int32_t bytes = platform::BytesPerSample(type);
  uint8_t* at = buffer + static_cast<ptrdiff_t>(k) * bytes;
  if (type == platform::kFloat32LSB) {
    const auto single = static_cast<float>(value);
    std::memcpy(at, &single, sizeof single);
    return;
  }
  if (type == platform::kFloat64LSB) {
    std::memcpy(at, &value, sizeof value);
    return;
  }
  const double full = std::ldexp(1.0, bytes * 8 - 1);
  const auto number = static_cast<int64_t>(std::clamp(std::round(value * full), -full, full - 1.0));
  const bool upperFirst = type == platform::kInt16MSB || type == platform::kInt24MSB;
  for (int32_t b = 0; b < bytes; ++b) {
    at[upperFirst ? bytes - 1 - b : b] = static_cast<uint8_t>(static_cast<uint64_t>(number) >> (8 * b));
  }
}

inline double GetSample(const uint8_t* buffer, int32_t type, int32_t k) {
  const int32_t bytes = platform::BytesPerSample(type);
  const uint8_t* at = buffer + static_cast<ptrdiff_t>(k) * bytes;
  if (type == platform::kFloat32LSB) {
    float single = 0.0f;
    std::memcpy(&single, at, sizeof single);
    return static_cast<double>(single);
  }
  if (type == platform::kFloat64LSB) {
    double value = 0.0;
    std::memcpy(&value, at, sizeof value);
    return value;
  }
  uint64_t number = 0;
  const bool upperFirst = type == platform::kInt16MSB || type == platform::kInt24MSB;
  for (int32_t b = 0; b < bytes; ++b) {
    number |= static_cast<uint64_t>(at[upperFirst ? bytes - 1 - b : b]) << (64 - 8 * bytes + 8 * b);
  }
  return std::ldexp(static_cast<double>(static_cast<int64_t>(number)), -63);
}

}  // namespace tarnwick::tests
