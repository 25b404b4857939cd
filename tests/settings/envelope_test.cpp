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

TEST(ParseEnvelope, TakesWhatIsOfItsKindAndNothingElse) {
  const std::wstring open(100'000, L'[');
  const std::pair<std::wstring, bool> cases[] = {
      {envelope(L"\"value\":\"x\""), true},
      {L" { \"value\" : \"x\" , \"more\" : [{}], \"kind\" : \"twk-setting\" } ", true},
      {L"{\"v\":1,\"kind\":\"twk-settings\",\"value\":\"x\"}", false},
      {L"{\"v\":1,\"kind\":\"twk-setting\\u0000\",\"value\":\"x\"}", false},
      {envelope(L"\"value\":1"), false},
      {envelope(L"\"value\":\"\\ud800\""), false},
      {envelope(L"\"value\":\"x\"") + L"x", false},
      {envelope(L"\"value\":\"x\"").substr(0, 39), false},
      {open, false},
      {envelope(L"\"deep\":" + open + std::wstring(open.size(), L']') + L",\"value\":\"x\""), true},
  };
  for (const auto& [text, taken] : cases) {
    EXPECT_EQ(ParseEnvelope(text), taken ? std::optional(L"x"s) : std::nullopt)
        << platform::Utf8FromWide(text.substr(0, 80));
  }
}

}  // namespace
}  // namespace tarnwick::settings
