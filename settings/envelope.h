// The form in which every setting is stored: one line of JSON, members in this order and without blanks,
// {"v":1,"kind":"twk-setting","value":TEXT,"nonce":BASE64,"padding":BASE64}. Nonce and padding are drawn anew for each
// write, so the stored text changes with every save; the setting itself is there in plain text. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::settings {

using EnvelopeNonce = std::array<uint8_t, 18>;     // 24 characters of base64
using EnvelopePadding = std::array<uint8_t, 512>;  // 684 characters of base64

std::wstring MakeEnvelope(std::wstring_view value, const EnvelopeNonce& nonce, const EnvelopePadding& padding);

// The setting's text; nothing when `text` is no JSON object of the kind "twk-setting" with a textual "value". Takes any
// text, however large or deeply nested.
std::optional<std::wstring> ParseEnvelope(std::wstring_view text);

}  // namespace tarnwick::settings
