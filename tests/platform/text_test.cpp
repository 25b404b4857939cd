#include "platform/text.h"

#include <gtest/gtest.h>

namespace tarnwick::platform {
namespace {

using namespace std::string_literals;

TEST(Text, RoundTripsBetweenUtf8AndWide) {
  const std::pair<std::string, std::wstring> cases[] = {
      {"a\0b"s, L"a\0b"s},
      {"\x7F\xC2\x80\xDF\xBF", L"\u007f\u0080\u07ff"},  // the ends of each length
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", L"\u0800\ud7ff\ue000\uffff"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\U00010000\U0010ffff"},
  };
  for (const auto& [utf8, wide] : cases) {
    EXPECT_EQ(WideFromUtf8(utf8), wide) << utf8;
    EXPECT_EQ(Utf8FromWide(wide), utf8);
  }
}

TEST(Text, MalformedUtf8BecomesReplacementsAndSwallowsNothingThatIsGood) {
  const std::pair<std::string, std::wstring> cases[] = {
      {"\x80z", L"\ufffdz"},  // a continuation alone
      {"\xC3", L"\ufffd"},    // ends too early
      {"\xC3(", L"\ufffd("},
      {"\xE2\xC3\xB6", L"\ufffd\u00f6"},  // the next character begins inside
      {"\xFF\xFEz", L"\ufffd\ufffdz"},
      {"\xE0\x80\xAFz", L"\ufffdz"},  // longer than needed
      {"\xF0\x80\x80\xAFz", L"\ufffdz"},
      {"\xED\xA0\x80z", L"\ufffdz"},      // a surrogate
      {"\xF4\x90\x80\x80z", L"\ufffdz"},  // above the last code point
      {"\xC0\xAF", L"\ufffd\ufffd"},
  };
  for (const auto& [utf8, wide] : cases) {
    EXPECT_EQ(WideFromUtf8(utf8), wide) << Utf8FromWide(WideFromUtf8(utf8));
  }
}

TEST(Text, WideThatIsNoCharacterBecomesAReplacement) {
  const wchar_t lone[] = {L'a', static_cast<wchar_t>(0xD83C), L'b', static_cast<wchar_t>(0xDFB8), 0};
  EXPECT_EQ(Utf8FromWide(lone),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  if (sizeof(wchar_t) == 4) {
    const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0x7FFFFFFF), 0};
    EXPECT_EQ(Utf8FromWide(beyond), "\xEF\xBF\xBD\xEF\xBF\xBD");
  }
}

TEST(Text, EqualIgnoringCase) {
  EXPECT_TRUE(EqualIgnoringCase(L"Tarnwick@.EXE", L"tarnwick@.exe"));
  EXPECT_FALSE(EqualIgnoringCase(L"a", L"ab"));
  EXPECT_FALSE(EqualIgnoringCase(L"a[", L"A{"));
}

TEST(Text, TrimmedTakesBlanksFromBothEndsOnly) {
  EXPECT_EQ(Trimmed(L" \t\r\n"), L"");
  EXPECT_EQ(Trimmed(L"  a b\t\r\n"), L"a b");
}

}  // namespace
}  // namespace tarnwick::platform
