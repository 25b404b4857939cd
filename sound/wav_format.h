// Shared by WAV reader and writer: tags, little-endian words, and paths for the standard file streams.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "platform/text.h"

namespace tarnwick::sound::wav {

inline constexpr uint16_t kPcm = 1;
inline constexpr uint16_t kIeeeFloat = 3;
inline constexpr uint16_t kExtensible = 0xFFFE;

// Size that a file states whose length is not known (a stream), or stands in a ds64 chunk (EBU Tech 3306).
inline constexpr uint32_t kUnknownSize = 0xFFFFFFFF;

// A WAVE_FORMAT_EXTENSIBLE sub-format is the format tag followed by these bytes.
inline constexpr std::array<uint8_t, 14> kSubFormatTail = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                                           0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

template <typename Word>
Word ReadLittleEndian(const uint8_t* bytes) {
  Word word = 0;
  for (size_t k = 0; k < sizeof(Word); ++k) {
    word = static_cast<Word>(word | static_cast<Word>(Word{bytes[k]} << (8 * k)));
  }
  return word;
}

// May throw std::bad_alloc.
inline std::filesystem::path PathFromWide(const std::wstring& text) {
  const std::string utf8 = platform::Utf8FromWide(text);
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

}  // namespace tarnwick::sound::wav
