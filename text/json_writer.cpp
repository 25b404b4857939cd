#include "text/json_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/text.h"

namespace tarnwick::text {
namespace {

// The largest double has 309 digits before the point, the smallest 324 after it.
constexpr size_t kLongestNumber = 330;

void appendEscaped(std::string& out, std::string_view utf8) {
  constexpr char kHex[] = "0123456789abcdef";
  size_t plain = 0;  // where the text begins that needs no escape
  for (size_t k = 0; k < utf8.size(); ++k) {
    const auto byte = static_cast<uint8_t>(utf8[k]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') {
      continue;
    }
    out.append(utf8, plain, k - plain);
    plain = k + 1;
    if (byte < 0x20) {
      out += "\\u00";
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    } else {
      out += '\\';
      out += utf8[k];
    }
  }
  out.append(utf8, plain, utf8.size() - plain);
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
}

}  // namespace

JsonWriter& JsonWriter::open(char bracket) {
  separate();
  text_ += bracket;
  first_ = true;
  return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
  text_ += bracket;
  first_ = false;
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
  separate();
  text_ += '"';
  text_ += name;
  text_ += "\":";
  first_ = true;
  return *this;
}

JsonWriter& JsonWriter::boolean(bool value) {
  separate();
  text_ += value ? "true" : "false";
  return *this;
}

JsonWriter& JsonWriter::integer(int64_t value) {
  separate();
  char digits[24];
  text_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  return *this;
}

JsonWriter& JsonWriter::natural(uint64_t value) {
  separate();
  char digits[24];
  text_.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  return *this;
}

JsonWriter& JsonWriter::number(double value) {
  separate();
  char digits[kLongestNumber];
  const double finite = std::isfinite(value) && value != 0.0 ? value : 0.0;
  text_.append(digits, std::to_chars(digits, digits + sizeof digits, finite, std::chars_format::fixed).ptr);
  return *this;
}

JsonWriter& JsonWriter::fixed(double value, int decimals) {
  separate();
  char digits[kLongestNumber];
  const double finite = std::isfinite(value) ? value : 0.0;
  char* const end = std::to_chars(digits, digits + sizeof digits, finite, std::chars_format::fixed, decimals).ptr;
  const bool negativeZero =
      digits[0] == '-' && std::none_of(digits + 1, end, [](char c) { return c >= '1' && c <= '9'; });
  text_.append(digits + (negativeZero ? 1 : 0), end);
  return *this;
}

JsonWriter& JsonWriter::string(std::wstring_view value) {
  separate();
  text_ += '"';
  appendEscaped(text_, platform::Utf8FromWide(value));
  text_ += '"';
  return *this;
}

JsonWriter& JsonWriter::string(std::string_view utf8) {
  if (!isAscii(utf8)) {
    return string(platform::WideFromUtf8(utf8));  // puts malformed sequences right
  }
  separate();
  text_ += '"';
  appendEscaped(text_, utf8);
  text_ += '"';
  return *this;
}

JsonWriter& JsonWriter::written(std::string_view json) {
  separate();
  text_ += json;
  return *this;
}

void JsonWriter::separate() {
  if (!first_) {
    text_ += ',';
  }
  first_ = false;
}

}  // namespace tarnwick::text
