#include "platform/clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/block_clock.h"

namespace tarnwick::platform {
namespace {

TEST(Clock, CountersAdvanceWithTheRealTime) {
  const int64_t counter = CounterNow();
  const uint64_t tick = TickMilliseconds();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const double counted = static_cast<double>(CounterNow() - counter) * 1000.0 / static_cast<double>(CounterFrequency());
  const auto ticked = static_cast<double>(TickMilliseconds() - tick);
  EXPECT_GE(counted, 30.0);
  EXPECT_LT(counted, 5000.0);
  EXPECT_GE(ticked, 29.0);
  EXPECT_LT(ticked, 5000.0);
}

TEST(Clock, LocalTimeIsTheWallClock) {
  const auto second = [] {
    const time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    wchar_t text[16];
    wcsftime(text, std::size(text), L"%H:%M:%S.", std::localtime(&now));
    return std::wstring(text);
  };
  std::wstring before;
  std::wstring text;
  do {  // again when the second changed in between
    before = second();
    text = TimeOfDayText(LocalTimeNow());
  } while (second() != before);
  EXPECT_EQ(text.substr(0, 9), before);
  EXPECT_EQ(text.size(), 12u);
}

TEST(Clock, SleepUntilEndsAtItsTickAndNotBefore) {
  const int64_t millisecond = CounterFrequency() / 1000;
  std::vector<int64_t> late;
  for (int k = 0; k < 100; ++k) {
    const int64_t due = CounterNow() + millisecond * 3 / 2;
    SleepUntil(due);
    late.push_back(CounterNow() - due);
  }
  std::sort(late.begin(), late.end());
  EXPECT_GE(late.front(), 0);
  // Only the best tenth, as a busy machine delays the rest; waits in whole ticks of a slow timer are late even there.
  EXPECT_LT(late[late.size() / 10], millisecond);
  const int64_t before = CounterNow();
  SleepUntil(before - millisecond);
  EXPECT_LT(CounterNow() - before, CounterFrequency() / 10);
}

}  // namespace
}  // namespace tarnwick::platform
