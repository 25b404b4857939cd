#include "app/status_log.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tarnwick::app {
namespace {

TEST(StatusLog, StampsItsLinesAndKeepsTheNewest) {
  std::wstring seen;
  StatusLog log([&seen](const std::wstring& line) { seen = line; });
  for (size_t k = 0; k < StatusLog::kKeptLines + 5; ++k) {
    log.add(std::to_wstring(k) + L" a\r\nGr\u00fc\u00dfe");
  }
  EXPECT_EQ(log.lines().size(), StatusLog::kKeptLines);
  EXPECT_EQ(log.lines().front().substr(13, 2), L"5 ");
  EXPECT_EQ(log.lines().back(), seen);
  std::replace_if(
      seen.begin(), seen.begin() + 13, [](wchar_t c) { return c >= L'1' && c <= L'9'; }, L'0');
  EXPECT_EQ(seen, L"00:00:00.000 1004 a  Gr\u00fc\u00dfe");
}

}  // namespace
}  // namespace tarnwick::app
