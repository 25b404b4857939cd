#include "settings/envelope.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/text.h"

namespace tarnwick::settings {
namespace {

using namespace std::string_literals;

// `member` stands for everything after "v" and "kind".
std::wstring envelope(const std::wstring& members) {
  return L"{\"v\":1,\"kind\":\"twk-setting\"," + members + L"}";
}

TEST(MakeEnvelope, IsOneLineWithItsMembersInOrder) {
  EnvelopeNonce nonce{};
  EnvelopePadding padding{};
  nonce.fill(0xFF);
  const std::wstring expected =
      envelope(L"\"value\":\"a\\\"b\\\\c/\\u000a\\u001f\x7F\u00E4\U0001F3B8\",\"nonce\":\"" + std::wstring(24, L'/') +
               L"\",\"padding\":\"" + std::wstring(683, L'A') + L"=\"");
  EXPECT_EQ(MakeEnvelope(L"a\"b\\c/\n\x1F\x7F\u00E4\U0001F3B8", nonce, padding), expected);
}

TEST(ParseEnvelope, AnyTextReadsBackUnchanged) {
  std::wstring controls;
  for (wchar_t unit = 0; unit < 0xA0; ++unit) {
    controls.push_back(unit);
  }
  for (const std::wstring& value : {L""s, L"44100"s, L"C:\\Effects\\\"Ombrel\".vst3"s, controls, L"\u65E5\u672C\u8A9E"s,
                                    L"\\u0041\\n"s, std::wstring(200'000, L'"')}) {
    const auto read = ParseEnvelope(MakeEnvelope(value, {}, {}));
    ASSERT_TRUE(read.has_value()) << value.size();
    EXPECT_EQ(*read, value);
  }
}

TEST(ParseEnvelope, TakesWhatIsOfItsKindAndNothingElse) {
  struct Case {
    std::wstring text;
    bool taken;
  };
  const std::wstring open(100'000, L'[');
  const Case cases[] = {
      {envelope(L"\"value\":\"x\""), true},
      {L" { \"value\" : \"x\" , \"more\" : [{}], \"kind\" : \"twk-setting\" } ", true},
      {L"{\"v\":1,\"kind\":\"twk-settings\",\"value\":\"x\"}", false},
      {L"{\"v\":1,\"kind\":\"twk-setting\\u0000\",\"value\":\"x\"}", false},
      {L"{\"v\":1,\"kind\":1,\"value\":\"x\"}", false},
      {L"{\"v\":1,\"value\":\"x\"}", false},
      {envelope(L"\"value\":1"), false},
      {envelope(L"\"value\":\"\\ud800\""), false},
      {envelope(L"\"value\":\"x\"") + L"x", false},
      {envelope(L"\"value\":\"x\"").substr(0, 39), false},
      {L"[" + envelope(L"\"value\":\"x\"") + L"]", false},
      {L"", false},
      {open, false},
      {envelope(L"\"deep\":" + open + std::wstring(open.size(), L']') + L",\"value\":\"x\""), true},
  };
  for (const Case& c : cases) {
    const auto value = ParseEnvelope(c.text);
    EXPECT_EQ(value.has_value(), c.taken) << platform::Utf8FromWide(c.text.substr(0, 80));
    if (value) {
      EXPECT_EQ(*value, L"x");
    }
  }
}

}  // namespace
}  // namespace tarnwick::settings
