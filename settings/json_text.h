// JSON as it is written here: by hand, in one line, in UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::settings {

// Appends the text as a JSON string, quotes included; control characters as "\u%04x".
void AppendJsonText(std::string& json, std::wstring_view text);

}  // namespace tarnwick::settings
