#include "settings/envelope.h"

#include <rapidjson/document.h>

#include "platform/crypto.h"
#include "platform/text.h"
#include "text/json_writer.h"

namespace tarnwick::settings {
namespace {

constexpr std::string_view kKind = "twk-setting";
constexpr size_t kFrameBytes = 800;  // of an envelope besides its value

// The text of a member; nothing when it is missing or no text.
std::optional<std::string_view> textMember(const rapidjson::Value& object, const char* name) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsString()) {
    return std::nullopt;
  }
  return std::string_view(member->value.GetString(), member->value.GetStringLength());
}

}  // namespace

std::wstring MakeEnvelope(std::wstring_view value, const EnvelopeNonce& nonce, const EnvelopePadding& padding) {
  text::JsonWriter json(value.size() + kFrameBytes);
  json.open('{').key("v").integer(1).key("kind").string(kKind).key("value").string(value);
  json.key("nonce").string(platform::Base64(nonce)).key("padding").string(platform::Base64(padding)).close('}');
  return platform::WideFromUtf8(json.take());
}

std::optional<std::wstring> ParseEnvelope(std::wstring_view text) {
  const std::string json = platform::Utf8FromWide(text);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());  // iterative: nesting costs no stack
  if (document.HasParseError() || !document.IsObject() || textMember(document, "kind") != kKind) {
    return std::nullopt;
  }
  const std::optional<std::string_view> value = textMember(document, "value");
  return value ? std::optional<std::wstring>(platform::WideFromUtf8(*value)) : std::nullopt;
}

}  // namespace tarnwick::settings
