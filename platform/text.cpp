#include "platform/text.h"

#include <cstdint>
#include <cwctype>
#include <type_traits>

namespace tarnwick::platform {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;

// One unit of wide text as a number; wchar_t is signed on some systems.
uint32_t unitOf(wchar_t unit) {
  return static_cast<uint32_t>(static_cast<std::make_unsigned_t<wchar_t>>(unit));
}

void appendWide(std::wstring& out, uint32_t code) {
  if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
    code -= 0x10000;
    out.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
    out.push_back(static_cast<wchar_t>(0xDC00 + (code & 0x3FF)));
  } else {
    out.push_back(static_cast<wchar_t>(code));
  }
}

void appendUtf8(std::string& out, uint32_t code) {
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | (code >> 6));
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3F));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

bool isSurrogate(uint32_t code) {
  return code >= 0xD800 && code <= 0xDFFF;
}

// Reads one code point at `at` and moves it on by at least one byte.
uint32_t readUtf8(std::string_view text, size_t& at) {
  const auto lead = static_cast<uint8_t>(text[at++]);
  if (lead < 0x80) {
    return lead;
  }
  const int extra = lead >= 0xF0 && lead < 0xF8   ? 3
                    : lead >= 0xE0 && lead < 0xF0 ? 2
                    : lead >= 0xC2 && lead < 0xE0 ? 1
                                                  : 0;
  if (extra == 0) {
    return kReplacement;
  }
  static constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  uint32_t code = lead & (0x3Fu >> extra);
  for (int k = 0; k < extra; ++k) {
    if (at >= text.size() || (static_cast<uint8_t>(text[at]) & 0xC0) != 0x80) {
      return kReplacement;
    }
    code = (code << 6) | (static_cast<uint8_t>(text[at++]) & 0x3F);
  }
  const bool valid = code >= kSmallest[extra] && code <= 0x10FFFF && !isSurrogate(code);
  return valid ? code : kReplacement;
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    appendWide(out, readUtf8(text, at));
  }
  return out;
}

std::string Utf8FromWide(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t k = 0; k < text.size(); ++k) {
    auto code = unitOf(text[k]);
    if (sizeof(wchar_t) == 2 && code >= 0xD800 && code < 0xDC00 && k + 1 < text.size()) {
      const auto low = unitOf(text[k + 1]);
      if (low >= 0xDC00 && low < 0xE000) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        ++k;
      }
    }
    appendUtf8(out, isSurrogate(code) || code > 0x10FFFF ? kReplacement : code);
  }
  return out;
}

std::wstring LowerCase(std::wstring_view text) {
  std::wstring lower(text);
  for (wchar_t& c : lower) {
    c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  }
  return lower;
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (size_t k = 0; k < a.size(); ++k) {
    if (std::towlower(static_cast<wint_t>(a[k])) != std::towlower(static_cast<wint_t>(b[k]))) {
      return false;
    }
  }
  return true;
}

size_t StartOfCharacter(std::wstring_view text, size_t count) {
  // The second unit of a character in UTF-16.
  const auto continues = [](wchar_t c) {
    return sizeof(wchar_t) == 2 && (static_cast<uint32_t>(c) & 0xFC00U) == 0xDC00U;
  };
  size_t at = 0;
  for (size_t seen = 0; at < text.size(); ++at) {
    if (!continues(text[at]) && seen++ == count) {
      break;
    }
  }
  return at;
}

std::wstring Trimmed(std::wstring_view text) {
  constexpr std::wstring_view kBlanks = L" \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::wstring_view::npos) {
    return {};
  }
  return std::wstring(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

}  // namespace tarnwick::platform
