#include "settings/value.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <type_traits>

#include "platform/text.h"
#include "settings/saved_instances.h"
#include "text/json_writer.h"

namespace tarnwick::settings {
namespace {

constexpr size_t kMaximumText = 32767;

// The number that the whole text is; nothing when it is none or does not fit the type.
template <typename T>
std::optional<T> numberFrom(const std::wstring& text) {
  const std::string digits = platform::Utf8FromWide(text);
  T number{};
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, number);
  return read.ec == std::errc() && read.ptr == end ? std::optional<T>(number) : std::nullopt;
}

// Without its range.
std::optional<Value> valueFrom(const Form& form, const std::wstring& text) {
  switch (form.kind) {
    case Kind::flag:
      return text == L"1" || text == L"0" ? std::optional<Value>(text == L"1") : std::nullopt;
    case Kind::whole:
      return numberFrom<int32_t>(text);
    case Kind::number:
      return numberFrom<double>(text);
    case Kind::priority: {
      const auto index = numberFrom<int64_t>(text);
      return index ? std::optional<Value>(
                         static_cast<int32_t>(std::clamp(static_cast<double>(*index), form.lowest, form.highest)))
                   : std::nullopt;
    }
    case Kind::mask:
      return numberFrom<uint64_t>(text);
    case Kind::text:
      return text.size() <= kMaximumText && text.find(L'\0') == std::wstring::npos ? std::optional<Value>(text)
                                                                                   : std::nullopt;
    case Kind::instances:
      return InstancesFromText(text) ? std::optional<Value>(text) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

bool Fits(const Form& form, const Value& value) {
  const auto within = [&form](double number) { return number >= form.lowest && number <= form.highest; };
  switch (form.kind) {
    case Kind::flag:
      return std::holds_alternative<bool>(value);
    case Kind::whole:
    case Kind::priority:
      return std::holds_alternative<int32_t>(value) && within(std::get<int32_t>(value));
    case Kind::number:
      return std::holds_alternative<double>(value) && within(std::get<double>(value));
    case Kind::mask:
      return std::holds_alternative<uint64_t>(value);
    case Kind::text:
    case Kind::instances:
      return std::holds_alternative<std::wstring>(value);
  }
  return false;
}

std::optional<Value> ValueFromText(const Form& form, const std::wstring& text) {
  std::optional<Value> value = valueFrom(form, text);
  return value && Fits(form, *value) ? value : std::nullopt;
}

std::wstring TextFromValue(const Value& value) {
  return std::visit(
      [](const auto& of) -> std::wstring {
        using T = std::decay_t<decltype(of)>;
        if constexpr (std::is_same_v<T, std::wstring>) {
          return of;
        } else if constexpr (std::is_same_v<T, bool>) {
          return of ? L"1" : L"0";
        } else if constexpr (std::is_same_v<T, double>) {
          return platform::WideFromUtf8(text::JsonWriter(0).number(of).take());
        } else {
          return std::to_wstring(of);
        }
      },
      value);
}

}  // namespace tarnwick::settings
