#include "settings/json_text.h"

#include "platform/text.h"

namespace tarnwick::settings {

void AppendJsonText(std::string& json, std::wstring_view text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  json.push_back('"');
  for (const char c : platform::Utf8FromWide(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20) {
      json.append("\\u00").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0x0F]);
      continue;
    }
    if (c == '"' || c == '\\') {
      json.push_back('\\');
    }
    json.push_back(c);
  }
  json.push_back('"');
}

}  // namespace tarnwick::settings
