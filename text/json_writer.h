// Writes one JSON text from front to back, without blanks; the commas come by themselves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace tarnwick::text {

// Not checked: that brackets match and that an object holds pairs. Numbers have a point whatever the locale, never a
// negative zero, and are 0 when they are not finite.
class JsonWriter {
 public:
  explicit JsonWriter(size_t expectedBytes) { text_.reserve(expectedBytes); }

  JsonWriter& open(char bracket);  // '{' or '['
  JsonWriter& close(char bracket);
  JsonWriter& key(std::string_view name);  // written as it stands; its value comes next

  JsonWriter& boolean(bool value);
  JsonWriter& integer(int64_t value);
  JsonWriter& natural(uint64_t value);
  JsonWriter& fixed(double value, int decimals);
  JsonWriter& decibels(double value) { return fixed(value, 2); }
  JsonWriter& percent(double value) { return fixed(value, 1); }
  JsonWriter& seconds(double value) { return fixed(value, 3); }
  JsonWriter& fraction(double value) { return fixed(value, 4); }  // of one
  JsonWriter& number(double value);                               // no more digits than it takes
  JsonWriter& hertz(double value) { return number(value); }
  JsonWriter& string(std::wstring_view value);
  JsonWriter& string(std::string_view utf8);
  JsonWriter& written(std::string_view json);  // a value that is JSON already

  // A member of an object.
  JsonWriter& member(std::string_view name, std::string_view utf8) { return key(name).string(utf8); }

  std::string take() { return std::move(text_); }

 private:
  void separate();

  std::string text_;
  bool first_ = true;  // nothing stands before the next value that a comma would have to part from it
};

}  // namespace tarnwick::text
