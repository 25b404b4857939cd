// Every claim of the seam is compared with what the kernel itself says of the thread. What the machine refuses is no
// failure; what is reported and not true is.
#include "platform/threads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>

#include <bit>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

#include "scheduling.h"

namespace tarnwick::platform {
namespace {

TEST(Threads, RunsOnTheProcessorThatIsLeftToIt) {
  std::thread([] {
    for (uint64_t left = SystemAffinityMask(); left != 0; left &= left - 1) {
      ASSERT_TRUE(SetThreadAffinity(left & (~left + 1)));
      EXPECT_EQ(sched_getcpu(), std::countr_zero(left));
    }
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

}  // namespace
}  // namespace tarnwick::platform
