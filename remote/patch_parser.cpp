#include "remote/patch_parser.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/text.h"

namespace tarnwick::remote {
namespace {

// The most bytes that a character takes in UTF-8.
constexpr size_t kCharacterBytes = 4;

bool isControl(wchar_t c) {
  const auto code = static_cast<uint32_t>(c);
  return code < 0x20 || (code >= 0x7F && code <= 0x9F);
}

template <typename Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number{};
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

std::optional<bool> truth(std::string_view text) {
  return text == "true" || text == "false" ? std::optional(text == "true") : std::nullopt;
}

std::optional<double> finiteNumber(std::string_view text) {
  const std::optional<double> number = wholeNumber<double>(text);
  return number && std::isfinite(*number) ? number : std::nullopt;
}

// Of a decimal number that is too large or too small for a double, written as from_chars reads it: which of the two.
bool isLarge(std::string_view number) {
  const size_t mark = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, mark);
  const size_t first = digits.find_first_of("123456789");
  if (first == std::string_view::npos) {
    return false;
  }
  const auto point = static_cast<int64_t>(std::min(digits.find('.'), digits.size()));
  std::string_view exponentText = number.substr(std::min(mark + 1, number.size()));
  exponentText.remove_prefix(exponentText.starts_with('+') ? 1 : 0);
  int64_t exponent = 0;
  const auto read = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (read.ec == std::errc::result_out_of_range) {
    return !exponentText.starts_with('-');
  }
  return exponent > static_cast<int64_t>(first) - point;
}

std::optional<double> numberOfAnySize(std::string_view text) {
  double number = 0.0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (read.ptr != end) {
    return std::nullopt;
  }
  if (read.ec == std::errc() && std::isfinite(number)) {
    return number;
  }
  const bool isWord = text.find_first_of("iInN") != std::string_view::npos;  // "inf", "nan"
  if (isWord || read.ec == std::errc::invalid_argument) {
    return std::nullopt;
  }
  const double size = isLarge(text) ? std::numeric_limits<double>::max() : 0.0;
  return text.starts_with('-') ? -size : size;
}

// A patch that was read, unless part of it could not be.
template <typename Patch>
std::optional<Patch> checked(const QueryReader& reader, Patch patch) {
  return reader.ok() ? std::optional(std::move(patch)) : std::nullopt;
}

}  // namespace

std::optional<std::wstring> TextFromClient(std::string_view utf8) {
  if (utf8.size() > kLongestText * kCharacterBytes) {
    return std::nullopt;
  }
  std::wstring text = platform::WideFromUtf8(utf8);
  text.erase(std::remove_if(text.begin(), text.end(), isControl), text.end());
  return platform::StartOfCharacter(text, kLongestText) == text.size() ? std::optional(std::move(text)) : std::nullopt;
}

std::optional<std::wstring> NameFromClient(std::string_view utf8) {
  std::optional<std::wstring> name = TextFromClient(utf8);
  if (name) {
    name->resize(platform::StartOfCharacter(*name, kLongestName));
  }
  return name;
}

template <typename Value, typename Read>
std::optional<Value> QueryReader::value(const char* key, Read read) {
  const auto found = query_.find(key);
  if (found == query_.end()) {
    return std::nullopt;
  }
  std::optional<Value> result = read(std::string_view(found->second));
  ok_ = ok_ && result.has_value();
  return result;
}

std::optional<bool> QueryReader::boolean(const char* key) {
  return value<bool>(key, truth);
}

std::optional<int32_t> QueryReader::integer(const char* key) {
  return value<int32_t>(key, wholeNumber<int32_t>);
}

std::optional<uint64_t> QueryReader::mask(const char* key) {
  return value<uint64_t>(key, wholeNumber<uint64_t>);
}

std::optional<double> QueryReader::number(const char* key) {
  return value<double>(key, finiteNumber);
}

std::optional<double> QueryReader::anyNumber(const char* key) {
  return value<double>(key, numberOfAnySize);
}

std::optional<std::wstring> QueryReader::name(const char* key) {
  return value<std::wstring>(key, NameFromClient);
}

std::optional<std::wstring> QueryReader::text(const char* key) {
  return value<std::wstring>(key, TextFromClient);
}

std::optional<std::string> QueryReader::word(const char* key, std::initializer_list<std::string_view> words) {
  return value<std::string>(key, [&words](std::string_view text) {
    const bool known = std::find(words.begin(), words.end(), text) != words.end();
    return known ? std::optional(std::string(text)) : std::nullopt;
  });
}

std::optional<uint32_t> IndexFromText(std::string_view digits) {
  return wholeNumber<uint32_t>(digits);
}

std::optional<RemoteInstancePatch> ParseInstancePatch(const QueryParameters& query) {
  QueryReader reader(query);
  RemoteInstancePatch patch;
  patch.name = reader.name("name");
  patch.inputChannel = reader.integer("inputChannel");
  patch.outputChannel = reader.integer("outputChannel");
  patch.inputGainDb = reader.anyNumber("inputGainDb");
  patch.outputGainDb = reader.anyNumber("outputGainDb");
  patch.firstParamPercent = reader.anyNumber("firstParamPercent");
  patch.bypassEnabled = reader.boolean("bypassEnabled");
  patch.testSignalEnabled = reader.boolean("testSignalEnabled");
  return checked(reader, std::move(patch));
}

std::optional<RemoteRecordChannelPatch> ParseRecordChannelPatch(const QueryParameters& query) {
  QueryReader reader(query);
  RemoteRecordChannelPatch patch;
  patch.enabled = reader.boolean("enabled");
  patch.name = reader.name("name");
  return checked(reader, std::move(patch));
}

std::optional<std::vector<std::wstring>> ParsePaths(std::string_view body) {
  if (body.size() > kLongestPathsBody) {
    return std::nullopt;
  }
  // Iterative, and freed with its pool: no nesting is too deep for the stack.
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(body.data(), body.size());
  if (document.HasParseError() || !document.IsObject()) {
    return std::nullopt;
  }
  const auto member = document.FindMember("paths");
  if (member == document.MemberEnd() || !member->value.IsArray()) {
    return std::nullopt;
  }
  std::vector<std::wstring> paths;
  for (const auto& element : member->value.GetArray()) {
    std::optional<std::wstring> path;
    if (element.IsString()) {
      path = TextFromClient({element.GetString(), element.GetStringLength()});
    }
    if (!path) {
      return std::nullopt;
    }
    paths.push_back(std::move(*path));
  }
  return paths;
}

}  // namespace tarnwick::remote
