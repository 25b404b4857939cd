#include "system/scheduled_reboot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tarnwick::system {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr LocalTime kMillisecond = 10'000;
constexpr LocalTime kDay = LocalTime{86'400'000} * kMillisecond;
constexpr LocalTime kMonday = 155'000 * kDay;

constexpr LocalTime at(int hours, int minutes, int seconds, int milliseconds = 0) {
  return kMonday + (((hours * 60 + minutes) * LocalTime{60} + seconds) * 1000 + milliseconds) * kMillisecond;
}

// The program around the schedule; what it was asked for stands in `events`, shortened.
struct Program {
  ScheduledReboot reboot;
  bool enabled = true;
  int32_t minutes = 360;
  bool running = false;
  bool closing = false;
  bool restartWorks = true;
  std::vector<std::wstring> texts;  // as they were given
  std::vector<std::string> events;

  RebootActions actions() {
    return {[this](const std::wstring& text) {
              texts.push_back(text);
              events.push_back(text.starts_with(L"In 10") ? "minutes" : "seconds");
            },
            [this] { return running; },
            [this] { events.push_back("stop"); },
            [this] { return closing; },
            [this] {
              events.push_back("restart");
              return restartWorks;
            },
            [this](std::wstring_view text) { texts.emplace_back(text); }};
  }
  // The requests of this check.
  std::vector<std::string> check(LocalTime now) {
    events.clear();
    CheckScheduledReboot(reboot, enabled, minutes, now, actions());
    return events;
  }
  std::vector<std::string> hostStopped() {
    events.clear();
    RequestRestartAfterStop(reboot, actions());
    return events;
  }
};

TEST(CheckScheduledReboot, AFirstCheckWarnsAndFiresByItsDistance) {
  using Events = std::vector<std::string>;
  struct Case {
    LocalTime now;
    int32_t minutes;
    Events expected;
  };
  const Case cases[] = {
      {at(5, 49, 59), 360, {}},              // 601 s
      {at(5, 49, 59, 1), 360, {"minutes"}},  // 600.999 s
      {at(5, 59, 49), 360, {"minutes"}},     // 11 s
      {at(5, 59, 49, 1), 360, {"minutes", "seconds"}},
      {at(5, 59, 59, 1), 360, {"seconds", "restart"}},  // less than a second is none
      {at(6, 0, 2, 999), 360, {"seconds", "restart"}},
      {at(6, 0, 5, 999), 360, {"restart"}},
      {at(6, 0, 6), 360, {}},  // tomorrow
      {at(23, 59, 58), 0, {"minutes", "seconds"}},
      {at(0, 0, 0), 0, {"seconds", "restart"}},
      {at(23, 59, 0), 1439, {"seconds", "restart"}},
      {at(6, 0, 0), -1, {"seconds", "restart"}},  // no time of day: the default
      {at(6, 0, 0), 1440, {"seconds", "restart"}},
  };
  for (const Case& c : cases) {
    Program program;
    program.minutes = c.minutes;
    EXPECT_EQ(program.check(c.now), c.expected) << (c.now - kMonday) / kMillisecond << " ms, " << c.minutes;
    EXPECT_EQ(program.check(c.now), Events()) << "once only";
    Program unticked;
    unticked.minutes = c.minutes;
    unticked.enabled = false;
    EXPECT_EQ(unticked.check(c.now), Events()) << "not asked for";
  }
}

TEST(CheckScheduledReboot, TextsAreShownAsTheyAre) {
  Program program;
  program.minutes = 65;
  program.restartWorks = false;
  program.check(at(1, 4, 55));
  program.check(at(1, 5, 0));
  EXPECT_FALSE(program.reboot.fired);
  EXPECT_THAT(program.texts,
              ElementsAre(L"In 10 minutes, at 01:05, this PC will restart (scheduled reboot).\n\n"
                          L"Press OK to dismiss. This message does not cancel the restart.",
                          L"The system will restart in about 10 seconds (scheduled reboot).\n\n"
                          L"Press OK to dismiss. This message does not cancel the restart.",
                          L"Scheduled reboot: stopping host before system restart.",
                          L"Scheduled reboot: host is stopped; requesting Windows restart.",
                          L"Scheduled reboot failed (shutdown.exe). Try running as administrator, or check shutdown "
                          L"policy."));
  EXPECT_THAT(program.check(at(1, 5, 3)), ElementsAre("restart")) << "again for the same time";
}

// A whole night, one check every three seconds: each thing happens once, and again on the next night.
TEST(CheckScheduledReboot, RunsOnceANightThroughMidnight) {
  Program program;
  program.minutes = 0;
  for (int night = 1; night <= 2; ++night) {
    std::vector<std::string> all;
    for (LocalTime now = at(23, 0, 1) + (night - 1) * kDay; now < at(25, 0, 0) + (night - 1) * kDay;
         now += 3000 * kMillisecond) {
      const auto events = program.check(now);
      all.insert(all.end(), events.begin(), events.end());
    }
    EXPECT_THAT(all, ElementsAre("minutes", "seconds", "restart")) << night;
  }
}

TEST(CheckScheduledReboot, WaitsForTheHostToStop) {
  Program program;
  program.running = true;
  EXPECT_THAT(program.hostStopped(), IsEmpty()) << "a stop that the schedule has not asked for";
  EXPECT_THAT(program.check(at(6, 0, 4)), ElementsAre("stop"));
  EXPECT_THAT(program.check(at(6, 0, 5)), IsEmpty());
  program.enabled = false;  // too late
  program.closing = true;
  EXPECT_THAT(program.hostStopped(), IsEmpty());
  program.closing = false;
  EXPECT_THAT(program.hostStopped(), ElementsAre("restart"));
  EXPECT_THAT(program.hostStopped(), IsEmpty());
}

TEST(CheckScheduledReboot, AnotherTimeOrUntickingRearms) {
  Program program;
  EXPECT_THAT(program.check(at(5, 55, 0)), ElementsAre("minutes"));
  program.enabled = false;
  EXPECT_THAT(program.check(at(5, 59, 58)), IsEmpty()) << "unticked in the last minutes";
  EXPECT_THAT(program.check(at(6, 0, 1)), IsEmpty());
  program.enabled = true;
  program.minutes = 370;
  EXPECT_THAT(program.check(at(6, 0, 2)), ElementsAre("minutes")) << "another time is warned of anew";
  EXPECT_THAT(program.check(at(6, 10, 0)), ElementsAre("seconds", "restart"));
  program.minutes = 420;
  EXPECT_THAT(program.check(at(7, 0, 0)), ElementsAre("seconds")) << "fired, and no check more than an hour before";
  program.minutes = 490;
  program.check(at(7, 10, 0));
  EXPECT_TRUE(program.reboot.fired) << "an hour is not more than an hour";
  program.check(at(7, 9, 59));
  EXPECT_FALSE(program.reboot.fired);
}

}  // namespace
}  // namespace tarnwick::system
