#include "settings/value.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"

namespace tarnwick::settings {
namespace {

constexpr Form form(Kind kind) {
  return {kind, -10, 1000};
}

TEST(Values, AreStoredInTheirDocumentedForms) {
  const struct {
    Kind kind;
    std::wstring text;
    Value value;
  } cases[] = {
      {Kind::flag, L"1", true},
      {Kind::flag, L"0", false},
      {Kind::whole, L"-10", -10},
      {Kind::number, L"952.047952047952", 952.047952047952},
      {Kind::priority, L"5", 5},
      {Kind::mask, L"18446744073709551615", ~uint64_t{0}},
      {Kind::text, std::wstring(32767, L't'), std::wstring(32767, L't')},
      {Kind::instances, L"[ ]", L"[ ]"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ValueFromText(form(c.kind), c.text), c.value) << platform::Utf8FromWide(c.text);
    EXPECT_EQ(TextFromValue(c.value), c.text);
  }
  EXPECT_EQ(ValueFromText(form(Kind::priority), L"-4294967297"), Value(-10));
  EXPECT_EQ(ValueFromText(form(Kind::priority), L"4294967297"), Value(1000));
}

TEST(Values, OtherTextsAreNone) {
  const std::pair<Kind, std::vector<std::wstring>> cases[] = {
      {Kind::flag, {L"", L"2", L"true", L" 1"}},
      {Kind::whole, {L"", L"-11", L"1001", L"4294967297", L"3.0", L"+3"}},
      {Kind::number, {L"", L"1000.01", L"nan", L"1e999", L"48,5", L" 48", L"48Hz", L"\u0664\u0668"}},
      {Kind::priority, {L"", L"9223372036854775808", L"High"}},
      {Kind::mask, {L"", L"18446744073709551616", L"-1", L"0x1"}},
      {Kind::text, {std::wstring(32768, L't'), std::wstring(1, L'\0')}},
      {Kind::instances, {L"", L"{}", L"7"}},
  };
  for (const auto& [kind, texts] : cases) {
    for (const std::wstring& text : texts) {
      EXPECT_EQ(ValueFromText(form(kind), text), std::nullopt) << platform::Utf8FromWide(text.substr(0, 40));
    }
  }
}

}  // namespace
}  // namespace tarnwick::settings
