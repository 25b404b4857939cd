#include "app/status_log.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tarnwick::app {
namespace {

TEST(StatusLog, StampsEachLineAndKeepsItOneLine) {
  std::wstring seen;
  StatusLog log([&seen](const std::wstring& line) { seen = line; });
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {L"", L""}, {L"a\r\nb\nc\r", L"a  b c "}, {L"Gr\u00fc\u00dfe", L"Gr\u00fc\u00dfe"}};
  for (const auto& [line, shown] : cases) {
    log.add(line);
    // The stamp with every digit as 0.
    std::wstring form = seen.substr(0, 13);
    std::replace_if(
        form.begin(), form.end(), [](wchar_t c) { return c >= L'1' && c <= L'9'; }, L'0');
    EXPECT_EQ(form + seen.substr(13), std::wstring(L"00:00:00.000 ") + shown);
    EXPECT_EQ(log.lines().back(), seen);
  }
}

TEST(StatusLog, KeepsTheNewestLines) {
  StatusLog log([](const std::wstring&) {});
  for (size_t k = 0; k < StatusLog::kKeptLines + 5; ++k) {
    log.add(std::to_wstring(k));
  }
  ASSERT_EQ(log.lines().size(), StatusLog::kKeptLines);
  EXPECT_EQ(log.lines().front().substr(13), L"5");
  EXPECT_EQ(log.lines().back().substr(13), std::to_wstring(StatusLog::kKeptLines + 4));
}

}  // namespace
}  // namespace tarnwick::app
