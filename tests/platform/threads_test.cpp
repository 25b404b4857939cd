// Every claim of the seam is compared with what the kernel itself says of the thread. What the machine refuses is no
// failure; what is reported and not true is.
#include "platform/threads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <bit>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "scheduling.h"

namespace tarnwick::platform {
namespace {

TEST(Threads, AffinityIsWhatTheKernelSaysAndLeavesTheSystemMaskAlone) {
  const uint64_t systemMask = SystemAffinityMask();
  ASSERT_NE(systemMask, 0u);
  EXPECT_LE(std::popcount(systemMask), ProcessorCount());
  std::thread([systemMask] {
    EXPECT_EQ(ThreadAffinity(), systemMask);
    for (uint64_t left = systemMask; left != 0; left &= left - 1) {
      const uint64_t one = left & (~left + 1);
      EXPECT_TRUE(SetThreadAffinity(one));
      EXPECT_EQ(ThreadAffinity(), one);
      EXPECT_EQ(sched_getcpu(), std::countr_zero(one));
    }
    const uint64_t last = ThreadAffinity();
    EXPECT_FALSE(SetThreadAffinity(0));
    if (std::popcount(systemMask) < 64) {
      EXPECT_FALSE(SetThreadAffinity(~systemMask)) << "only processors that are not there";
    }
    EXPECT_EQ(ThreadAffinity(), last);
    EXPECT_EQ(SystemAffinityMask(), systemMask);
  }).join();
}

// In a process of its own, where nobody has asked before.
TEST(ThreadsDeathTest, SystemMaskIsThatOfTheProcessWhoeverAsksFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto askOnALimitedThread = [] {
    const uint64_t all = ThreadAffinity();
    uint64_t answer = 0;
    std::thread([&answer, all] {
      SetThreadAffinity(all & (~all + 1));
      answer = SystemAffinityMask();
    }).join();
    std::exit(answer == all ? 0 : 1);
  };
  EXPECT_EXIT(askOnALimitedThread(), ::testing::ExitedWithCode(0), "");
}

TEST(Threads, PriorityLevelsWithPrivilege) {
  if (!mayChangeScheduling()) {
    GTEST_SKIP() << "needs the privilege to raise a nice value";
  }
  std::thread([] {
    expectLevels({{15, 15, SCHED_OTHER, -20},
                  {2, 2, SCHED_OTHER, -10},
                  {1, 1, SCHED_OTHER, -5},
                  {0, 0, SCHED_OTHER, 0},
                  {-1, -1, SCHED_OTHER, 5},
                  {-15, -15, SCHED_IDLE, 0},
                  {1, 1, SCHED_OTHER, -5},  // and back from idle
                  {99, 15, SCHED_OTHER, -20},
                  {7, 2, SCHED_OTHER, -10},
                  {-7, -1, SCHED_OTHER, 5},
                  {-99, -15, SCHED_IDLE, 0}});
  }).join();
}

TEST(Threads, ProAudioReportsWhatTheKernelSaysAndIsUndoneCompletely) {
  PrepareThreads();
  int64_t throttle = 0;
  std::ifstream("/proc/sys/kernel/sched_rt_runtime_us") >> throttle;
  for (const RealtimeUse use : {RealtimeUse::blocks, RealtimeUse::spins}) {
    for (const int32_t levelBefore : {0, -1, -15}) {
      std::thread([use, levelBefore, throttle] {
        SetThreadPriorityLevel(levelBefore);
        const Scheduling before = fromKernel();
        RealtimeRegistration registration;
        RegisterProAudio(use, registration);
        const Scheduling now = fromKernel();
        EXPECT_TRUE(registration.registered);
        switch (registration.grant) {
          case RealtimeGrant::fifo:
            EXPECT_EQ(now, (Scheduling{SCHED_FIFO, registration.value, before.nice}));
            EXPECT_GT(registration.value, 0);
            EXPECT_TRUE(use == RealtimeUse::blocks || throttle == -1) << "the kernel would stop it";
            break;
          case RealtimeGrant::nice:
            EXPECT_EQ(now, (Scheduling{SCHED_OTHER, 0, registration.value}));
            EXPECT_TRUE(now.nice < before.nice || before.policy == SCHED_IDLE);
            break;
          case RealtimeGrant::none:
            EXPECT_EQ(now, before);
            EXPECT_EQ(registration.value, before.nice);
            break;
          case RealtimeGrant::mmcss:
            ADD_FAILURE() << "not on this system";
        }
        if (mayChangeScheduling()) {
          EXPECT_NE(registration.grant, RealtimeGrant::none);
        }
        RegisterProAudio(use, registration);  // asked for once
        EXPECT_EQ(fromKernel(), now);
        RevertProAudio(registration);
        EXPECT_FALSE(registration.registered);
        EXPECT_EQ(fromKernel(), before);
        RevertProAudio(registration);
        EXPECT_EQ(fromKernel(), before);
      }).join();
    }
  }
}

TEST(Threads, ALevelAskedForDuringProAudioComesAfterIt) {
  if (!mayChangeScheduling()) {
    GTEST_SKIP() << "needs the privilege to raise a thread";
  }
  for (const RealtimeUse use : {RealtimeUse::blocks, RealtimeUse::spins}) {
    std::thread([use] {
      RealtimeRegistration registration;
      RegisterProAudio(use, registration);
      const Scheduling raised = fromKernel();
      for (const int32_t level : {2, -15}) {
        EXPECT_EQ(SetThreadPriorityLevel(level), 15);
        EXPECT_EQ(fromKernel(), raised);
      }
      RevertProAudio(registration);
      EXPECT_EQ(fromKernel().policy, SCHED_IDLE);
    }).join();
  }
}

TEST(Threads, AThreadThatIsRealtimeAlreadyKeepsItsPlace) {
  std::thread([] {
    sched_param parameter{};
    parameter.sched_priority = 10;
    if (sched_setscheduler(0, SCHED_FIFO, &parameter) != 0) {
      GTEST_SKIP() << "needs real-time scheduling";
    }
    const Scheduling before = fromKernel();
    RealtimeRegistration registration;
    RegisterProAudio(RealtimeUse::blocks, registration);
    EXPECT_EQ(registration.grant, RealtimeGrant::fifo);
    EXPECT_EQ(registration.value, 10);
    EXPECT_EQ(SetThreadPriorityLevel(-15), 15);
    EXPECT_EQ(fromKernel(), before);
    RevertProAudio(registration);
    EXPECT_EQ(fromKernel(), before);
  }).join();
}

TEST(Threads, FlushDenormalsTakesThemFromResultsAndOperands) {
  std::thread([] {
    volatile float smallest = std::numeric_limits<float>::min();
    volatile float denormal = std::numeric_limits<float>::denorm_min();
    volatile float half = 0.5f;
    volatile float large = 1e30f;
    ASSERT_NE(smallest * half, 0.0f);
    ASSERT_NE(denormal * large, 0.0f);
    SetFlushDenormals();
    EXPECT_EQ(smallest * half, 0.0f);
    EXPECT_EQ(denormal * large, 0.0f);
  }).join();
}

TEST(Threads, NameIsShownToTheSystem) {
  std::thread([] {
    for (const std::string name : {"pool 12", "a name that is far too long"}) {
      SetThreadName(name.c_str());
      char shown[64] = {};
      pthread_getname_np(pthread_self(), shown, sizeof shown);
      EXPECT_EQ(shown, name.substr(0, 15));
    }
  }).join();
}

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

TEST(Clock, LocalTimeTextIsTheWallClock) {
  const auto minuteText = [] {
    const time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    tm local{};
    localtime_r(&now, &local);
    wchar_t text[16];
    wcsftime(text, std::size(text), L"%H:%M:%S", &local);
    return std::wstring(text);
  };
  std::wstring text;
  std::wstring second;
  do {  // again when the second changed in between
    second = minuteText();
    text = LocalTimeText();
  } while (second != minuteText());
  ASSERT_EQ(text.size(), 12u);
  EXPECT_EQ(text.substr(0, 8), second);
  EXPECT_EQ(text[8], L'.');
  EXPECT_EQ(text.find_first_not_of(L"0123456789", 9), std::wstring::npos);
}

}  // namespace
}  // namespace tarnwick::platform
