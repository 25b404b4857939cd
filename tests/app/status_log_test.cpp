#include "app/status_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/text.h"

namespace tarnwick::app {
namespace {

// The form of a stamp with every digit as 0. GCC 12 warns of its own regular expressions in sanitizer builds.
std::wstring formOf(std::wstring stamp) {
  std::replace_if(
      stamp.begin(), stamp.end(), [](wchar_t c) { return c >= L'1' && c <= L'9'; }, L'0');
  return stamp;
}

TEST(StatusLog, StampsEachLineAndKeepsItOneLine) {
  std::vector<std::wstring> seen;
  StatusLog log([&seen](const std::wstring& line) { seen.push_back(line); });
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"Host running.", L"Host running."},
                                                             {L"", L""},
                                                             {L"a\r\nb\nc\r", L"a  b c "},
                                                             {L"Gr\u00fc\u00dfe", L"Gr\u00fc\u00dfe"}};
  for (const auto& [line, shown] : cases) {
    log.add(line);
    ASSERT_GE(seen.back().size(), 13u);
    const std::wstring stamp = seen.back().substr(0, 13);
    EXPECT_EQ(formOf(stamp), L"00:00:00.000 ") << platform::Utf8FromWide(stamp);
    EXPECT_LT(stamp.substr(0, 2), L"24");
    EXPECT_LT(stamp.substr(3, 2), L"60");
    EXPECT_LT(stamp.substr(6, 2), L"60");
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
