// ASCII to and from the interface's 16-bit text.
#pragma once

#include <algorithm>
#include <span>
#include <string_view>

#include "pluginterfaces/vst/vsttypes.h"

namespace tarnwick::ombrel {

// Cut to 127 characters and always ended.
inline void CopyAscii(std::string_view text, Steinberg::Vst::String128& target) {
  const size_t length = std::min(text.size(), std::size(target) - 1);
  std::copy_n(text.begin(), length, target);
  target[length] = 0;
}

// The text up to its end, or as far as `buffer` reaches; a character that is not ASCII becomes '?'.
inline std::string_view ToAscii(const Steinberg::Vst::TChar* text, std::span<char> buffer) {
  size_t length = 0;
  while (length < buffer.size() && text[length] != 0) {
    buffer[length] = text[length] < 0x80 ? static_cast<char>(text[length]) : '?';
    ++length;
  }
  return {buffer.data(), length};
}

}  // namespace tarnwick::ombrel
