// A thread without privilege, under the limits that a desktop system or a real-time audio group sets. Few machines let
// a test raise those limits, so the linker leads this program's calls to the functions below. For a thread with a
// Limits object they refuse what the kernel would refuse (setpriority(2), sched(7)); the rest goes through, and what
// came of it is read from the kernel as ever.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "scheduling.h"

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

class ThreadLimits : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!mayChangeScheduling()) {
      GTEST_SKIP() << "needs the privilege that it then hides";
    }
  }

  template <class Call>
  static void under(Limits given, Call call) {
    std::thread([given, call] {
      limits = &given;
      call();
    }).join();
  }
};

TEST_F(ThreadLimits, APriorityLevelComesAsNearAsTheLimitAllows) {
  under({27, 0}, [] {  // down to nice -7
    expectLevels({{15, 1, SCHED_OTHER, -7}, {1, 1, SCHED_OTHER, -5}, {2, 1, SCHED_OTHER, -7}, {0, 0, SCHED_OTHER, 0}});
  });
  under({17, 0}, [] {  // down to nice 3: nice 0 is not given back once it was left
    expectLevels({{1, 0, SCHED_OTHER, 0}, {-1, -1, SCHED_OTHER, 5}, {0, -1, SCHED_OTHER, 3}, {2, -1, SCHED_OTHER, 3}});
  });
  under({20, 0}, [] { expectLevels({{-15, -15, SCHED_IDLE, 0}, {2, 0, SCHED_OTHER, 0}}); });
  under({0, 0}, [] { expectLevels({{-15, -15, SCHED_IDLE, 0}, {0, -15, SCHED_IDLE, 0}}); });
}

TEST_F(ThreadLimits, ProAudioTakesWhatTheLimitsAllow) {
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
      const Scheduling before = fromKernel();
      RealtimeRegistration registration;
      RegisterProAudio(RealtimeUse::blocks, registration);
      EXPECT_TRUE(registration.registered);
      EXPECT_EQ(static_cast<int>(registration.grant), static_cast<int>(c.grant));
      EXPECT_EQ(registration.value, c.value);
      EXPECT_EQ(c.grant == RealtimeGrant::fifo ? fromKernel().priority : fromKernel().nice, c.value);
      RevertProAudio(registration);
      EXPECT_EQ(fromKernel(), before);
    });
  }
}

TEST_F(ThreadLimits, ARegistrationThatWasGrantedNothingHoldsNothingBack) {
  under({0, 0}, [] {
    RealtimeRegistration registration;
    RegisterProAudio(RealtimeUse::blocks, registration);
    EXPECT_EQ(SetThreadPriorityLevel(-1), -1);
    EXPECT_EQ(fromKernel().nice, 5);
    RevertProAudio(registration);
    EXPECT_EQ(fromKernel().nice, 5);
  });
}

// The kernel's own refusal, without any limit raised: Linux keeps privileges for each thread, so this one gives its up.
TEST_F(ThreadLimits, AThreadThatGaveUpItsPrivilegeIsToldSo) {
  rlimit niceLimit{};
  rlimit realtimeLimit{};
  getrlimit(RLIMIT_NICE, &niceLimit);
  getrlimit(RLIMIT_RTPRIO, &realtimeLimit);
  if (niceLimit.rlim_cur > 20 || realtimeLimit.rlim_cur > 0) {
    GTEST_SKIP() << "this machine grants it without privilege";
  }
  std::thread([] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, sets), 0);
    sets[0].effective &= ~(1u << CAP_SYS_NICE);
    ASSERT_EQ(syscall(SYS_capset, &header, sets), 0);
    const Scheduling before = fromKernel();
    RealtimeRegistration registration;
    RegisterProAudio(RealtimeUse::blocks, registration);
    EXPECT_EQ(registration.grant, RealtimeGrant::none);
    EXPECT_EQ(fromKernel(), before);
    RevertProAudio(registration);
    expectLevels({{15, 0, SCHED_OTHER, 0}, {-1, -1, SCHED_OTHER, 5}, {2, -1, SCHED_OTHER, 5}});
  }).join();
}

}  // namespace
}  // namespace tarnwick::platform
