#include "platform/clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/block_clock.h"
#include "support/eventually.h"

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
  int64_t earliest = millisecond;
  int64_t best = CounterFrequency();
  const auto wait = [&] {
    const int64_t due = CounterNow() + millisecond * 3 / 2;
    SleepUntil(due);
    const int64_t late = CounterNow() - due;
    earliest = std::min(earliest, late);
    best = std::min(best, late);
    return best < millisecond / 4;
  };
  for (int k = 0; k < 20; ++k) {
    wait();
  }
  // A busy machine delays some; waits in whole ticks of a slow timer are never this near.
  EXPECT_TRUE(tests::Eventually(wait));
  EXPECT_GE(earliest, 0);
  SleepUntil(CounterNow() - millisecond);  // comes back
}

}  // namespace
}  // namespace tarnwick::platform
