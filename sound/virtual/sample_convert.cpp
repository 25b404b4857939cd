#include "sound/virtual/sample_convert.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace tarnwick::sound {
namespace {

static_assert(std::endian::native == std::endian::little, "floats are copied in the machine's byte order");

constexpr double fullScale(int bytes) {
  return static_cast<double>(int64_t{1} << (8 * bytes - 1));
}

int32_t quantised(float value, double scale) {
  const double scaled = std::isnan(value) ? 0.0 : static_cast<double>(value) * scale;
  const double clamped = std::clamp(scaled, -scale, scale - 1.0);
  // Away from zero at the half; the cast cuts, and never beyond the clamped range.
  return static_cast<int32_t>(clamped + std::copysign(0.5, clamped));
}

// Byte `k` of `bytes`, counted from the least significant, stands here in the buffer.
template <int bytes, bool bigEndian>
constexpr int place(int k) {
  return bigEndian ? bytes - 1 - k : k;
}

template <int bytes, bool bigEndian>
void encodeIntegers(const float* from, uint8_t* to, int32_t frames) {
  for (int32_t i = 0; i < frames; ++i, to += bytes) {
    const auto word = static_cast<uint32_t>(quantised(from[i], fullScale(bytes)));
    for (int k = 0; k < bytes; ++k) {
      to[place<bytes, bigEndian>(k)] = static_cast<uint8_t>(word >> (8 * k));
    }
  }
}

template <int bytes, bool bigEndian>
void decodeIntegers(const uint8_t* from, float* to, int32_t frames) {
  constexpr double kScale = 1.0 / fullScale(bytes);
  constexpr int kUnused = 32 - 8 * bytes;
  for (int32_t i = 0; i < frames; ++i, from += bytes) {
    uint32_t word = 0;
    for (int k = 0; k < bytes; ++k) {
      word |= static_cast<uint32_t>(from[place<bytes, bigEndian>(k)]) << (8 * k + kUnused);
    }
    to[i] = static_cast<float>((static_cast<int32_t>(word) >> kUnused) * kScale);
  }
}

}  // namespace

void EncodeSamples(int32_t type, const float* from, void* to, int32_t frames) {
  auto* bytes = static_cast<uint8_t*>(to);
  switch (type) {
    case platform::kFloat32LSB:
      std::memcpy(to, from, static_cast<size_t>(frames) * sizeof(float));
      return;
    case platform::kFloat64LSB:
      for (int32_t i = 0; i < frames; ++i) {
        const double value = from[i];
        std::memcpy(bytes + static_cast<size_t>(i) * sizeof(value), &value, sizeof(value));
      }
      return;
    case platform::kInt16MSB:
      return encodeIntegers<2, true>(from, bytes, frames);
    case platform::kInt16LSB:
      return encodeIntegers<2, false>(from, bytes, frames);
    case platform::kInt24MSB:
      return encodeIntegers<3, true>(from, bytes, frames);
    case platform::kInt24LSB:
      return encodeIntegers<3, false>(from, bytes, frames);
    default:
      return encodeIntegers<4, false>(from, bytes, frames);
  }
}

void DecodeSamples(int32_t type, const void* from, float* to, int32_t frames) {
  const auto* bytes = static_cast<const uint8_t*>(from);
  switch (type) {
    case platform::kFloat32LSB:
      std::memcpy(to, from, static_cast<size_t>(frames) * sizeof(float));
      return;
    case platform::kFloat64LSB:
      for (int32_t i = 0; i < frames; ++i) {
        double value;
        std::memcpy(&value, bytes + static_cast<size_t>(i) * sizeof(value), sizeof(value));
        to[i] = static_cast<float>(value);
      }
      return;
    case platform::kInt16MSB:
      return decodeIntegers<2, true>(bytes, to, frames);
    case platform::kInt16LSB:
      return decodeIntegers<2, false>(bytes, to, frames);
    case platform::kInt24MSB:
      return decodeIntegers<3, true>(bytes, to, frames);
    case platform::kInt24LSB:
      return decodeIntegers<3, false>(bytes, to, frames);
    default:
      return decodeIntegers<4, false>(bytes, to, frames);
  }
}

}  // namespace tarnwick::sound
