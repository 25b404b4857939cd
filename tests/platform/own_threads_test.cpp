// The own process's threads, as the kernel shows them after the process was limited.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <functional>
#include <optional>
#include <thread>

#include "platform/linux/thread_claims.h"
#include "platform/processes.h"
#include "platform/threads.h"
#include "processors.h"

namespace tarnwick::platform {
namespace {

// A thread that does what it is told.
class Subject {
 public:
  explicit Subject(std::function<void()> first = [] {}) { perform(std::move(first)); }
  ~Subject() {
    perform(nullptr);
    thread_.join();
  }
  // Returns when it is done.
  void perform(std::function<void()> work) {
    work_ = std::move(work);
    asked_.store(true);
    asked_.notify_all();
    asked_.wait(true);
  }
  pid_t id() const { return id_; }
  uint64_t mask() {
    uint64_t seen = 0;
    perform([&seen] { seen = ThreadAffinity(); });
    return seen;
  }

 private:
  void run() {
    id_ = gettid();
    for (bool end = false; !end;) {
      asked_.wait(false);
      end = !work_;
      if (!end) {
        work_();
      }
      asked_.store(false);
      asked_.notify_all();
    }
  }
  std::function<void()> work_;
  std::atomic<bool> asked_{false};
  std::atomic<pid_t> id_{0};
  std::thread thread_{[this] { run(); }};
};

// On a thread of its own, as the tests may not leave the first one limited.
template <class Body>
void onAThread(Body body) {
  SystemAffinityMask();
  std::thread(body).join();
  SystemProcesses().setOwnAffinity(SystemAffinityMask());
}

using OwnProcess = TwoProcessors;
using ThreadClaimsTest = TwoProcessors;

TEST_F(OwnProcess, ThreadsThatBeginLaterLoseTheirCreatorsProcessors) {
  onAThread([] {
    SetThreadAffinity(lowest());  // as the user-interface thread has a group of its own
    Subject later;
    Subject sameChoice([] { SetThreadAffinity(lowest()); });
    // As an effect does with a thread of its own, past us.
    Subject pinned([] {
      cpu_set_t set;
      CPU_ZERO(&set);
      CPU_SET(static_cast<size_t>(std::countr_zero(allButLowest())), &set);
      sched_setaffinity(0, sizeof set, &set);
    });
    EXPECT_EQ(later.mask(), lowest()) << "what this system does by itself";
    const uint64_t pinnedTo = pinned.mask();
    SystemProcesses().limitNewThreads(SystemAffinityMask());
    EXPECT_EQ(later.mask(), SystemAffinityMask());
    EXPECT_EQ(sameChoice.mask(), lowest());
    EXPECT_EQ(pinned.mask(), pinnedTo);
    EXPECT_EQ(ThreadAffinity(), lowest()) << "the caller itself";
  });
}

TEST(ThreadClaims, LastUntilTheThreadEnds) {
  constexpr uint64_t kLater = uint64_t{1} << 41;
  for (const uint64_t start : {uint64_t{0}, kLater}) {  // of the thread that has the id now
    ThreadClaims claims;
    pid_t thread = 0;
    std::thread([&] {
      thread = gettid();
      claims.claim(6);
      claims.claim(5);
    }).join();
    EXPECT_EQ(claims.maskOf(thread), 5u);
    claims.prune([start](pid_t) { return std::optional(start); });
    EXPECT_EQ(claims.maskOf(thread), start == kLater ? std::nullopt : std::optional<uint64_t>(5));
  }
}

TEST_F(ThreadClaimsTest, SlotsOfEndedThreadsAreUsedAgain) {
  onAThread([] {
    const Processes processes = SystemProcesses();
    for (size_t k = 0; k < 3 * ThreadClaims::kSlots; ++k) {
      std::thread([] { SetThreadAffinity(lowest()); }).join();
      if (k % (ThreadClaims::kSlots / 2) == 0) {
        processes.setOwnAffinity(SystemAffinityMask());
      }
    }
    Subject chosen([] { SetThreadAffinity(lowest()); });
    processes.setOwnAffinity(SystemAffinityMask());
    EXPECT_EQ(chosen.mask(), lowest());
  });
}

}  // namespace
}  // namespace tarnwick::platform
