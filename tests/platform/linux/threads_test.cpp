// Every claim of the seam is compared with what the kernel itself says of the thread. What the machine refuses is no
// failure; what is reported and not true is.
//
// Few machines let a test raise the limits that a desktop system or a real-time audio group sets for a thread without
// privilege, so the linker leads this program's calls to the functions below. For a thread with a Limits object they
// refuse what the kernel would refuse (setpriority(2), sched(7)); the rest goes through.
#include "platform/threads.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

namespace {

struct Limits {
  rlim_t nice;      // RLIMIT_NICE: a nice value may be lowered to 20 - limit
  rlim_t realtime;  // RLIMIT_RTPRIO: the highest real-time priority
};
thread_local const Limits* limits = nullptr;

int refuse(int error) {
  errno = error;
  return -1;
}

bool mayLowerNice(int wanted) {
  return wanted >= getpriority(PRIO_PROCESS, 0) || wanted >= 20 - static_cast<int>(limits->nice);
}

}  // namespace

extern "C" {

int __real_setpriority(__priority_which_t which, id_t who, int value) noexcept;
int __real_sched_setscheduler(pid_t thread, int policy, const sched_param* parameter) noexcept;
int __real_getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept;

int __wrap_setpriority(__priority_which_t which, id_t who, int value) noexcept {
  if (limits != nullptr && !mayLowerNice(value)) {
    return refuse(EACCES);
  }
  return __real_setpriority(which, who, value);
}

int __wrap_sched_setscheduler(pid_t thread, int policy, const sched_param* parameter) noexcept {
  if (limits != nullptr) {
    const bool realtime = policy == SCHED_FIFO || policy == SCHED_RR;
    const bool leavesIdle = sched_getscheduler(0) == SCHED_IDLE && policy != SCHED_IDLE;
    if ((realtime && static_cast<rlim_t>(parameter->sched_priority) > limits->realtime) ||
        (leavesIdle && getpriority(PRIO_PROCESS, 0) < 20 - static_cast<int>(limits->nice))) {
      return refuse(EPERM);
    }
  }
  return __real_sched_setscheduler(thread, policy, parameter);
}

int __wrap_getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept {
  if (limits != nullptr && (resource == RLIMIT_NICE || resource == RLIMIT_RTPRIO)) {
    limit->rlim_cur = limit->rlim_max = resource == RLIMIT_NICE ? limits->nice : limits->realtime;
    return 0;
  }
  return __real_getrlimit(resource, limit);
}

}  // extern "C"

namespace tarnwick::platform {
namespace {

struct Scheduling {
  int policy;
  int priority;
  int nice;

  bool operator==(const Scheduling&) const = default;
};

void PrintTo(const Scheduling& s, std::ostream* out) {
  *out << "policy " << s.policy << " priority " << s.priority << " nice " << s.nice;
}

Scheduling fromKernel() {
  sched_param parameter{};
  sched_getparam(0, &parameter);
  return {sched_getscheduler(0), parameter.sched_priority, getpriority(PRIO_PROCESS, 0)};
}

bool mayChangeScheduling() {
  bool may = false;
  std::thread([&may] { may = setpriority(PRIO_PROCESS, 0, -20) == 0; }).join();
  return may;
}

struct LevelCase {
  int32_t asked;
  int32_t granted;
  int policy;
  int nice;
};

// Asks for one level after the other, on the calling thread.
void expectLevels(const std::vector<LevelCase>& cases) {
  for (const LevelCase& c : cases) {
    EXPECT_EQ(SetThreadPriorityLevel(c.asked), c.granted) << "asked for " << c.asked;
    const Scheduling now = fromKernel();
    EXPECT_EQ(now.policy, c.policy) << "asked for " << c.asked;
    if (c.policy != SCHED_IDLE) {
      EXPECT_EQ(now.nice, c.nice) << "asked for " << c.asked;
    }
  }
}

// With the privilege to raise a thread, which the limits then hide.
class PrivilegedThreads : public testing::Test {
 protected:
  void SetUp() override {
    if (!mayChangeScheduling()) {
      GTEST_SKIP() << "needs the privilege to raise a nice value";
    }
  }
  template <class Call>
  static void under(Limits given, Call call) {
    std::thread([given, call] {
      setpriority(PRIO_PROCESS, 0, 0);  // whatever these tests were started with
      limits = &given;
      call();
    }).join();
  }
};

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

TEST_F(PrivilegedThreads, PriorityLevels) {
  std::thread([] {
    expectLevels({{15, 15, SCHED_OTHER, -20},
                  {2, 2, SCHED_OTHER, -10},
                  {1, 1, SCHED_OTHER, -5},
                  {0, 0, SCHED_OTHER, 0},
                  {-1, -1, SCHED_OTHER, 5},
                  {-15, -15, SCHED_IDLE, 0},
                  {7, 2, SCHED_OTHER, -10},  // and back from idle
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
        if (registration.grant == RealtimeGrant::fifo) {
          EXPECT_EQ(now, (Scheduling{SCHED_FIFO, registration.value, before.nice}));
          EXPECT_GT(registration.value, 0);
          EXPECT_TRUE(use == RealtimeUse::blocks || throttle == -1) << "the kernel would stop it";
        } else if (registration.grant == RealtimeGrant::nice) {
          EXPECT_EQ(now, (Scheduling{SCHED_OTHER, 0, registration.value}));
          EXPECT_TRUE(now.nice < before.nice || before.policy == SCHED_IDLE);
        } else {
          EXPECT_FALSE(mayChangeScheduling());
          EXPECT_EQ(now, before);
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

TEST_F(PrivilegedThreads, ALevelAskedForDuringProAudioComesAfterIt) {
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

TEST_F(PrivilegedThreads, APriorityLevelComesAsNearAsTheLimitAllows) {
  under({27, 0}, [] {  // down to nice -7
    expectLevels({{15, 1, SCHED_OTHER, -7}, {1, 1, SCHED_OTHER, -5}, {2, 1, SCHED_OTHER, -7}, {0, 0, SCHED_OTHER, 0}});
  });
  under({17, 0}, [] {  // down to nice 3: nice 0 is not given back once it was left
    expectLevels({{1, 0, SCHED_OTHER, 0}, {-1, -1, SCHED_OTHER, 5}, {0, -1, SCHED_OTHER, 3}, {2, -1, SCHED_OTHER, 3}});
  });
  under({20, 0}, [] { expectLevels({{-15, -15, SCHED_IDLE, 0}, {2, 0, SCHED_OTHER, 0}}); });
  under({0, 0}, [] { expectLevels({{-15, -15, SCHED_IDLE, 0}, {0, -15, SCHED_IDLE, 0}}); });
}

TEST_F(PrivilegedThreads, ProAudioTakesWhatTheLimitsAllow) {
  struct Case {
    Limits limits;
    RealtimeGrant grant;
    int32_t value;
  };
  const Case cases[] = {{{0, 95}, RealtimeGrant::fifo, 60},  {{0, 60}, RealtimeGrant::fifo, 60},
                        {{40, 20}, RealtimeGrant::fifo, 20}, {{31, 0}, RealtimeGrant::nice, -11},
                        {{99, 0}, RealtimeGrant::nice, -20}, {{0, 0}, RealtimeGrant::none, 0}};
  for (const Case& c : cases) {
    under(c.limits, [c] {
      Scheduling before = fromKernel();
      RealtimeRegistration registration;
      RegisterProAudio(RealtimeUse::blocks, registration);
      EXPECT_TRUE(registration.registered);
      EXPECT_EQ(static_cast<int>(registration.grant), static_cast<int>(c.grant));
      EXPECT_EQ(registration.value, c.value);
      EXPECT_EQ(c.grant == RealtimeGrant::fifo ? fromKernel().priority : fromKernel().nice, c.value);
      if (c.grant == RealtimeGrant::none) {
        EXPECT_EQ(SetThreadPriorityLevel(-1), -1) << "nothing holds it back";
        before.nice = 5;
      }
      RevertProAudio(registration);
      EXPECT_EQ(fromKernel(), before);
    });
  }
}

}  // namespace
}  // namespace tarnwick::platform
