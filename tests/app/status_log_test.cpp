#include "app/status_log.h"

#include <gtest/gtest.h>

#include <regex>
#include <vector>

#include "platform/text.h"

namespace tarnwick::app {
namespace {

TEST(StatusLog, StampsEachLineAndKeepsItOneLine) {
  std::vector<std::wstring> seen;
  StatusLog log([&seen](const std::wstring& line) { seen.push_back(line); });
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"Host running.", L"Host running."},
                                                             {L"", L""},
                                                             {L"a\r\nb\nc\r", L"a  b c "},
                                                             {L"Gr\u00fc\u00dfe", L"Gr\u00fc\u00dfe"}};
  const std::wregex stamp(L"([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]\\.[0-9]{3} ");
  for (const auto& [line, shown] : cases) {
    log.add(line);
    ASSERT_GE(seen.back().size(), 13u);
    EXPECT_TRUE(std::regex_match(seen.back().substr(0, 13), stamp)) << platform::Utf8FromWide(seen.back());
    EXPECT_EQ(seen.back().substr(13), shown);
    EXPECT_EQ(log.lines().back(), seen.back());
  }
}

TEST(StatusLog, KeepsTheNewestLines) {
  size_t told = 0;
  StatusLog log([&told](const std::wstring&) { told += 1; });
  for (size_t k = 0; k < StatusLog::kKeptLines + 5; ++k) {
    log.add(std::to_wstring(k));
  }
  EXPECT_EQ(told, StatusLog::kKeptLines + 5);
  ASSERT_EQ(log.lines().size(), StatusLog::kKeptLines);
  EXPECT_EQ(log.lines().front().substr(13), L"5");
  EXPECT_EQ(log.lines().back().substr(13), std::to_wstring(StatusLog::kKeptLines + 4));
}

}  // namespace
}  // namespace tarnwick::app
