#include "settings/value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/text.h"

namespace tarnwick::settings {
namespace {

TEST(ValueFromText, TakesItsKindsFormAndNothingElse) {
  using Expected = std::optional<Value>;
  const struct {
    Kind kind;
    std::wstring text;
    Expected value;
    bool canonical = true;  // it would be written so
  } cases[] = {
      {Kind::flag, L"1", true},
      {Kind::flag, L"0", false},
      {Kind::flag, L"2", {}},
      {Kind::flag, L"true", {}},
      {Kind::whole, L"-10", -10},
      {Kind::whole, L"1000", 1000},
      {Kind::whole, L"-11", {}},
      {Kind::whole, L"1001", {}},
      {Kind::whole, L"4294967297", {}},
      {Kind::whole, L"3.0", {}},
      {Kind::whole, L"", {}},
      {Kind::number, L"1000", 1000.0},
      {Kind::number, L"952.047952047952", 952.047952047952},
      {Kind::number, L"1000.01", {}},
      {Kind::number, L"nan", {}},
      {Kind::number, L"1e999", {}},
      {Kind::number, L"48,5", {}},
      {Kind::number, L" 48", {}},
      {Kind::number, L"48Hz", {}},
      {Kind::number, L"\u0664\u0668", {}},
      {Kind::priority, L"5", 5},
      {Kind::priority, L"-4294967297", -10, false},
      {Kind::priority, L"4294967297", 1000, false},
      {Kind::priority, L"9223372036854775808", {}},
      {Kind::mask, L"18446744073709551615", std::numeric_limits<uint64_t>::max()},
      {Kind::mask, L"18446744073709551616", {}},
      {Kind::mask, L"-1", {}},
      {Kind::text, L"", std::wstring()},
      {Kind::text, std::wstring(32767, L't'), std::wstring(32767, L't')},
      {Kind::text, std::wstring(32768, L't'), {}},
      {Kind::text, std::wstring(1, L'\0'), {}},
      {Kind::instances, L"[ ]", L"[ ]"},
      {Kind::instances, L"{}", {}},
  };
  for (const auto& c : cases) {
    const std::string what = platform::Utf8FromWide(c.text.substr(0, 40));
    EXPECT_EQ(ValueFromText({c.kind, -10, 1000}, c.text), c.value) << what;
    if (c.value && c.canonical) {
      EXPECT_EQ(TextFromValue(*c.value), c.text) << what;
    }
  }
}

}  // namespace
}  // namespace tarnwick::settings
