#include "sound/sample_format.h"

#include <bit>
#include <cstring>
#include <type_traits>

#include "platform/audio/audio_driver.h"
#include "sound/block_ops.h"
#include "sound/lanes.h"

namespace tarnwick::sound {
namespace {

using lanes::Float4;
using lanes::Int4;
using lanes::kLanes;

static_assert(std::endian::native == std::endian::little, "the little-endian sample types are read as native ones");

template <class Word>
Word wordAt(const uint8_t* p) noexcept {
  Word word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

template <class Word>
void putWord(uint8_t* p, Word word) noexcept {
  std::memcpy(p, &word, sizeof word);
}

// Integers of any width are read through the topmost bits of 32: one scale for all, and every step but the conversion
// of a full 32-bit integer is exact.
Float4 fromTopmostBits(uint32_t a, uint32_t b, uint32_t c, uint32_t d) noexcept {
  const Int4 words = {static_cast<int32_t>(a), static_cast<int32_t>(b), static_cast<int32_t>(c),
                      static_cast<int32_t>(d)};
  return __builtin_convertvector(words, Float4) * (1.0f / 2147483648.0f);
}

// Integers of at most 24 bits: a float holds each of them.
Int4 quantised(Float4 value, float scale) noexcept {
  return lanes::Rounded(lanes::Clamp(value * scale, -scale, scale - 1.0f));
}

// Integers of 32 bits: the largest is no float.
Int4 quantised32(Float4 value) noexcept {
  const Int4 above = value >= lanes::Spread(1.0f);
  const Float4 scaled = lanes::Clamp(value, -1.0f, 1.0f) * 2147483648.0f;
  const Float4 below = reinterpret_cast<Float4>(~above & reinterpret_cast<Int4>(scaled));
  return lanes::Rounded(below) | (above & INT32_MAX);
}

// One type each: its width, and how four samples are read and, clamped, written.
template <bool bigEndian>
struct Int16 {
  static constexpr int32_t kBytes = 2;
  static uint32_t topmost(const uint8_t* p) noexcept {
    const auto word = wordAt<uint16_t>(p);
    return uint32_t{bigEndian ? __builtin_bswap16(word) : word} << 16;
  }
  static Float4 read(const uint8_t* p) noexcept {
    return fromTopmostBits(topmost(p), topmost(p + 2), topmost(p + 4), topmost(p + 6));
  }
  static void write(uint8_t* p, Float4 value) noexcept {
    const Int4 words = quantised(value, 32768.0f);
    for (int32_t k = 0; k < kLanes; ++k) {
      const auto word = static_cast<uint16_t>(words[k]);
      putWord(p + 2 * k, bigEndian ? __builtin_bswap16(word) : word);
    }
  }
};

template <bool bigEndian>
struct Int24 {
  static constexpr int32_t kBytes = 3;
  // Words of four bytes: three begin with a sample, the last one ends with it.
  static Float4 read(const uint8_t* p) noexcept {
    uint32_t words[kLanes] = {wordAt<uint32_t>(p), wordAt<uint32_t>(p + 3), wordAt<uint32_t>(p + 6),
                              wordAt<uint32_t>(p + 8)};
    if (bigEndian) {
      for (uint32_t& word : words) {
        word = __builtin_bswap32(word);
      }
      return fromTopmostBits(words[0] & ~0xFFu, words[1] & ~0xFFu, words[2] & ~0xFFu, words[3] << 8);
    }
    return fromTopmostBits(words[0] << 8, words[1] << 8, words[2] << 8, words[3] & ~0xFFu);
  }
  static void write(uint8_t* p, Float4 value) noexcept {
    const Int4 words = quantised(value, 8388608.0f);
    uint32_t bytes[kLanes];  // a sample's bytes as they lie in memory, in the lower 24 bits
    for (int32_t k = 0; k < kLanes; ++k) {
      const auto word = static_cast<uint32_t>(words[k]);
      bytes[k] = bigEndian ? __builtin_bswap32(word) >> 8 : word & 0xFFFFFFu;
    }
    putWord(p, bytes[0] | bytes[1] << 24);
    putWord(p + 4, bytes[1] >> 8 | bytes[2] << 16);
    putWord(p + 8, bytes[2] >> 16 | bytes[3] << 8);
  }
};

struct Int32 {
  static constexpr int32_t kBytes = 4;
  static Float4 read(const uint8_t* p) noexcept {
    return __builtin_convertvector(wordAt<Int4>(p), Float4) * (1.0f / 2147483648.0f);
  }
  static void write(uint8_t* p, Float4 value) noexcept { putWord(p, quantised32(value)); }
};

struct Float64 {
  static constexpr int32_t kBytes = 8;
  static Float4 read(const uint8_t* p) noexcept {
    const auto sample = [p](int32_t k) { return static_cast<float>(wordAt<double>(p + 8 * k)); };
    return Float4{sample(0), sample(1), sample(2), sample(3)};
  }
  static void write(uint8_t* p, Float4 value) noexcept {
    const Float4 heard = lanes::Clamp(lanes::NumbersOf(value), -1.0f, 1.0f);
    for (int32_t k = 0; k < kLanes; ++k) {
      putWord(p + 8 * k, static_cast<double>(heard[k]));
    }
  }
};

// Calls `use` with the type's description; 32-bit floats have none, as nothing is to be converted there.
template <class Use>
void withType(int32_t type, Use use) noexcept {
  switch (type) {
    case platform::kInt16MSB:
      return use(Int16<true>{});
    case platform::kInt24MSB:
      return use(Int24<true>{});
    case platform::kInt16LSB:
      return use(Int16<false>{});
    case platform::kInt24LSB:
      return use(Int24<false>{});
    case platform::kFloat64LSB:
      return use(Float64{});
    default:
      return use(Int32{});
  }
}

// The next `count` (1 or more) samples as lanes; those that are not there read as 0 and are not written.
Float4 loadUpTo4(const float* from, int32_t count) noexcept {
  if (count >= kLanes) {
    return lanes::Load(from);
  }
  Float4 value = {};
  std::memcpy(&value, from, static_cast<size_t>(count) * sizeof(float));
  return value;
}

void storeUpTo4(float* to, Float4 value, int32_t count) noexcept {
  if (count >= kLanes) {
    lanes::Store(to, value);
    return;
  }
  std::memcpy(to, &value, static_cast<size_t>(count) * sizeof(float));
}

template <class Format>
Float4 readUpTo4(const uint8_t* p, int32_t count) noexcept {
  if (count >= kLanes) {
    return Format::read(p);
  }
  uint8_t four[kLanes * Format::kBytes] = {};
  std::memcpy(four, p, static_cast<size_t>(count * Format::kBytes));
  return Format::read(four);
}

template <class Format>
void writeUpTo4(uint8_t* p, Float4 value, int32_t count) noexcept {
  if (count >= kLanes) {
    Format::write(p, value);
    return;
  }
  uint8_t four[kLanes * Format::kBytes];
  Format::write(four, value);
  std::memcpy(p, four, static_cast<size_t>(count * Format::kBytes));
}

// Calls `step(format, k, p, count)` for every four samples and for the rest; sample k, the first of them, lies at `p`.
template <class Byte, class Step>
void forEveryFour(int32_t type, Byte* buffer, int32_t n, Step step) noexcept {
  withType(type, [&](auto format) {
    Byte* p = buffer;
    int32_t k = 0;
    for (; k + kLanes <= n; k += kLanes, p += kLanes * format.kBytes) {
      step(format, k, p, std::integral_constant<int32_t, kLanes>{});
    }
    if (k < n) {
      step(format, k, p, n - k);
    }
  });
}

}  // namespace

void ReadBlock(int32_t type, const void* buffer, float* out, int32_t n) noexcept {
  if (type == platform::kFloat32LSB) {
    std::memcpy(out, buffer, static_cast<size_t>(n) * sizeof(float));
    return;
  }
  forEveryFour(type, static_cast<const uint8_t*>(buffer), n, [&](auto format, int32_t k, const uint8_t* p, auto count) {
    storeUpTo4(out + k, readUpTo4<decltype(format)>(p, count), count);
  });
}

void ClearBlock(int32_t type, void* buffer, int32_t n) noexcept {
  // Silence is all zero bytes in every type.
  std::memset(buffer, 0, static_cast<size_t>(n) * static_cast<size_t>(platform::BytesPerSample(type)));
}

void AddBlock(int32_t type, void* buffer, const float* in, int32_t n) noexcept {
  if (type == platform::kFloat32LSB) {
    AddClampedBlock(static_cast<float*>(buffer), in, n);
    return;
  }
  forEveryFour(type, static_cast<uint8_t*>(buffer), n, [&](auto format, int32_t k, uint8_t* p, auto count) {
    using Format = decltype(format);
    const Float4 sum = readUpTo4<Format>(p, count) + lanes::NumbersOf(loadUpTo4(in + k, count));
    writeUpTo4<Format>(p, sum, count);
  });
}

}  // namespace tarnwick::sound
