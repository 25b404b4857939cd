// ASCII text without regard to case, the same in every locale; other bytes are compared as they are.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace tarnwick::remote {

constexpr char LowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return LowerAscii(c); });
  return lower;
}

constexpr bool EqualIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return LowerAscii(x) == LowerAscii(y); });
}

}  // namespace tarnwick::remote
