// The value of a setting and the text that it is stored as. The forms do not depend on the language of the system:
//   flag             "1" or "0"
//   whole, priority  decimal, "-12"
//   number           decimal with a point, as short as it reads back: "44100", "44056.5"
//   mask             decimal, unsigned 64-bit: bit k = logical processor k
//   text             as it is; may be empty
//   instances        JSON, see saved_instances.h
// Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace tarnwick::settings {

using Value = std::variant<bool, int32_t, double, uint64_t, std::wstring>;

// How a value is written and read. A flag is a bool, whole and priority an int32_t, number a double, mask a uint64_t;
// text and instances are texts.
enum class Kind { flag, whole, number, priority, mask, text, instances };

struct Form {
  Kind kind;
  double lowest = 0.0;  // of whole, number and priority; both belong to the range
  double highest = 0.0;
  const wchar_t* quantity = L"";  // of whole and number, for users: "sample rate"
  const wchar_t* unit = L"";      // "Hz"
};

// Whether the value is of the kind's type and, where the kind has a range, inside it.
bool Fits(const Form& form, const Value& value);

// Nothing when the text is not of the form or cannot be meant: a number outside its range (a priority is brought into
// it instead), a text of more than 32767 units or with a zero in it, a list of instances that is no list. Takes any
// text.
std::optional<Value> ValueFromText(const Form& form, const std::wstring& text);

// Reads back to the same value.
std::wstring TextFromValue(const Value& value);

}  // namespace tarnwick::settings
