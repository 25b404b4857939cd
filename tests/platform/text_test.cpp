#include "platform/text.h"

#include <gtest/gtest.h>

namespace tarnwick::platform {
namespace {

using namespace std::string_literals;

TEST(Text, RoundTripsBetweenUtf8AndWide) {
  struct Case {
    std::string utf8;
    std::wstring wide;
  };
  const Case cases[] = {
      {"", L""},
      {"Ombrel 1", L"Ombrel 1"},
      {"a\0b"s, L"a\0b"s},
      {"\x7F\xC2\x80\xDF\xBF", L"\u007f\u0080\u07ff"},  // the ends of each length
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", L"\u0800\ud7ff\ue000\uffff"},
      {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\U00010000\U0010ffff"},
      {"T\xC3\xB6ne \xF0\x9F\x8E\xB8", L"T\u00f6ne \U0001f3b8"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WideFromUtf8(c.utf8), c.wide) << c.utf8;
    EXPECT_EQ(Utf8FromWide(c.wide), c.utf8);
  }
}

TEST(Text, MalformedUtf8BecomesReplacementsAndSwallowsNothingThatIsGood) {
  struct Case {
    std::string utf8;
    std::wstring wide;
  };
  const Case cases[] = {
      {"\x80z", L"\ufffdz"},  // a continuation alone
      {"\xC3", L"\ufffd"},    // ends too early
      {"\xC3(", L"\ufffd("},
      {"\xE2\x82z", L"\ufffdz"},
      {"\xE2\xC3\xB6", L"\ufffd\u00f6"},  // the next character begins inside
      {"\xF0\x9F\x8E", L"\ufffd"},
      {"\xFF\xFEz", L"\ufffd\ufffdz"},
      {"\xE0\x80\xAFz", L"\ufffdz"},  // longer than needed
      {"\xF0\x80\x80\xAFz", L"\ufffdz"},
      {"\xED\xA0\x80z", L"\ufffdz"},      // a surrogate
      {"\xF4\x90\x80\x80z", L"\ufffdz"},  // above the last code point
      {"\xC0\xAF", L"\ufffd\ufffd"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WideFromUtf8(c.utf8), c.wide) << Utf8FromWide(WideFromUtf8(c.utf8));
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
  struct Case {
    const wchar_t* a;
    const wchar_t* b;
    bool equal;
  };
  const Case cases[] = {{L"", L"", true},      {L"Tarnwick.EXE", L"tarnwick.exe", true},
                        {L"a", L"ab", false},  {L"a@z", L"A@Z", true},
                        {L"a[", L"A{", false}, {L"a", L"b", false}};
  for (const Case& c : cases) {
    EXPECT_EQ(EqualIgnoringCase(c.a, c.b), c.equal);
  }
}

TEST(Text, TrimmedTakesBlanksFromBothEndsOnly) {
  struct Case {
    const wchar_t* text;
    const wchar_t* trimmed;
  };
  const Case cases[] = {{L"", L""}, {L" \t\r\n", L""}, {L"  a b\t\r\n", L"a b"}, {L"a", L"a"}};
  for (const Case& c : cases) {
    EXPECT_EQ(Trimmed(c.text), c.trimmed);
  }
}

}  // namespace
}  // namespace tarnwick::platform
