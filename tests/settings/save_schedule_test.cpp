#include "settings/save_schedule.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwick::settings {
namespace {

// A program with one setting beside the switch, which are shown in a row: "7 1".
struct Program {
  bool remember = true;
  int value = 0;
  SaveSchedule schedule{true};
  SaveSchedule::CurrentSettings current = [this] {
    return SettingsMap{{L"a", std::to_wstring(value)}, {L"rememberSettings", remember ? L"1" : L"0"}};
  };

  void change() {
    ++value;
    schedule.changed();
  }
  void setRemember(bool on) {
    remember = on;
    schedule.remember(on, current);
  }
  static std::wstring shown(const std::optional<SettingsMap>& map) {
    return map ? map->at(L"a") + L" " + map->at(L"rememberSettings") : L"";
  }
  // The settings whose writing begins then, in milliseconds.
  std::wstring begin(int64_t now) {
    return shown(schedule.due(SaveSchedule::Clock::time_point(std::chrono::milliseconds(now)), current));
  }
  std::wstring write(int64_t now) {
    const std::wstring what = begin(now);
    schedule.written(true);
    return what;
  }
  std::wstring atExit() const { return shown(schedule.flush(current)); }
};

TEST(SaveSchedule, ManyChangesGiveOneWriteASecond) {
  Program program;
  EXPECT_EQ(program.begin(0), L"") << "nothing has changed";
  int writes = 0;
  for (int64_t now = 5'000; now < 15'000; now += 10) {
    program.change();
    writes += program.write(now).empty() ? 0 : 1;
  }
  EXPECT_EQ(writes, 10);
  EXPECT_EQ(program.begin(14'999), L"");
  EXPECT_EQ(program.write(15'000), L"1000 1") << "the last state";
  EXPECT_EQ(program.begin(60'000), L"");
  EXPECT_EQ(program.atExit(), L"1000 1");
}

TEST(SaveSchedule, SwitchingOffStoresThatMomentOnce) {
  Program program;
  program.change();
  EXPECT_EQ(program.begin(0), L"1 1");
  program.change();
  program.setRemember(false);
  program.change();
  EXPECT_EQ(program.begin(5'000), L"") << "one is under way";
  program.schedule.written(true);
  EXPECT_EQ(program.begin(999), L"") << "too soon";
  EXPECT_EQ(program.atExit(), L"2 0");
  EXPECT_EQ(program.write(5'000), L"2 0") << "without what was changed afterwards";
  program.change();
  program.setRemember(false);
  EXPECT_EQ(program.begin(9'000) + program.atExit(), L"");
  program.setRemember(true);
  EXPECT_EQ(program.write(10'000), L"4 1");
}

TEST(SaveSchedule, AFailureIsReportedOnceAndTriedAgainAtTheEnd) {
  Program program;
  const auto fail = [&program](int64_t now) {
    program.change();
    EXPECT_NE(program.begin(now), L"");
    return program.schedule.written(false);
  };
  EXPECT_TRUE(fail(0));
  EXPECT_EQ(program.begin(5'000), L"") << "not by itself";
  EXPECT_FALSE(fail(10'000));
  program.change();
  EXPECT_EQ(program.write(20'000), L"3 1");
  EXPECT_TRUE(fail(30'000)) << "it had worked again";
  program.setRemember(false);
  EXPECT_EQ(program.begin(40'000), L"4 0");
  program.schedule.written(false);
  EXPECT_EQ(program.atExit(), L"4 0");
}

}  // namespace
}  // namespace tarnwick::settings
