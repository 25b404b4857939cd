// What the kernel says of the calling thread, to compare with what the seam reports.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>

#include <ostream>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace tarnwick::platform {

struct Scheduling {
  int policy;
  int priority;
  int nice;

  bool operator==(const Scheduling&) const = default;
};

inline void PrintTo(const Scheduling& s, std::ostream* out) {
  *out << "policy " << s.policy << " priority " << s.priority << " nice " << s.nice;
}

inline Scheduling fromKernel() {
  sched_param parameter{};
  sched_getparam(0, &parameter);
  return {sched_getscheduler(0), parameter.sched_priority, getpriority(PRIO_PROCESS, 0)};
}

inline bool mayChangeScheduling() {
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
inline void expectLevels(const std::vector<LevelCase>& cases) {
  for (const LevelCase& c : cases) {
    EXPECT_EQ(SetThreadPriorityLevel(c.asked), c.granted) << "asked for " << c.asked;
    const Scheduling now = fromKernel();
    EXPECT_EQ(now.policy, c.policy) << "asked for " << c.asked;
    if (c.policy != SCHED_IDLE) {
      EXPECT_EQ(now.nice, c.nice) << "asked for " << c.asked;
    }
  }
}

}  // namespace tarnwick::platform
