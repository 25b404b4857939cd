// The own process's threads, as the kernel shows them after the process was limited.
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "platform/linux/thread_claims.h"
#include "platform/processes.h"
#include "platform/threads.h"
#include "processors.h"

// Linked instead of the C library's, so that a test can act just before a thread is set.
extern "C" int __real_sched_setaffinity(pid_t thread, size_t size, const cpu_set_t* set);
extern "C" int __wrap_sched_setaffinity(pid_t thread, size_t size, const cpu_set_t* set);

namespace tarnwick::platform {
namespace {

thread_local std::function<void(pid_t thread)> beforeSetting;

// A thread that does what it is told and tells what the kernel says of it.
class Subject {
 public:
  explicit Subject(std::function<void()> first) : thread_([this, todo = std::move(first)] { run(todo); }) {
    ready_.wait(false);
  }
  ~Subject() {
    end_.store(true);
    end_.notify_all();
    thread_.join();
  }
  uint64_t mask() const {
    cpu_set_t set;
    CPU_ZERO(&set);
    EXPECT_EQ(sched_getaffinity(id_.load(), sizeof set, &set), 0);
    uint64_t mask = 0;
    for (size_t k = 0; k < 64; ++k) {
      mask |= CPU_ISSET(k, &set) ? uint64_t{1} << k : 0;
    }
    return mask;
  }

 private:
  void run(const std::function<void()>& todo) {
    id_.store(gettid());
    todo();
    ready_.store(true);
    ready_.notify_all();
    end_.wait(false);
  }
  std::atomic<pid_t> id_{0};
  std::atomic<bool> ready_{false};
  std::atomic<bool> end_{false};
  std::thread thread_;
};

// On a thread of its own, as the tests may not leave the first one limited.
template <class Body>
void onAThread(Body body) {
  std::thread(body).join();
  SystemProcesses().setOwnAffinity(SystemAffinityMask());
}

TEST(OwnProcess, ThreadsWithoutAChoiceFollowTheOthersKeepTheirs) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  SystemAffinityMask();
  onAThread([] {
    const Processes processes = SystemProcesses();
    const Subject plain([] {});
    const Subject chosen([] { SetThreadAffinity(allButLowest()); });
    EXPECT_TRUE(processes.setOwnAffinity(lowest()));
    EXPECT_EQ(plain.mask(), lowest());
    EXPECT_EQ(chosen.mask(), allButLowest());
    EXPECT_TRUE(processes.setOwnAffinity(SystemAffinityMask()));
    EXPECT_EQ(plain.mask(), SystemAffinityMask());
    EXPECT_EQ(chosen.mask(), allButLowest());
  });
}

TEST(OwnProcess, ThreadsThatBeginLaterLoseTheirCreatorsProcessors) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  onAThread([] {
    const Processes processes = SystemProcesses();
    SetThreadAffinity(lowest());  // as the user-interface thread has a group of its own
    const Subject later([] {});
    const Subject sameChoice([] { SetThreadAffinity(lowest()); });
    // As an effect does with a thread of its own, past us.
    const Subject pinned([] {
      cpu_set_t set;
      CPU_ZERO(&set);
      CPU_SET(static_cast<size_t>(std::countr_zero(allButLowest())), &set);
      sched_setaffinity(0, sizeof set, &set);
    });
    EXPECT_EQ(later.mask(), lowest()) << "what this system does by itself";
    const uint64_t pinnedTo = pinned.mask();
    processes.limitNewThreads(SystemAffinityMask());
    EXPECT_EQ(later.mask(), SystemAffinityMask());
    EXPECT_EQ(sameChoice.mask(), lowest());
    EXPECT_EQ(pinned.mask(), pinnedTo);
    EXPECT_EQ(ThreadAffinity(), lowest()) << "the caller itself";
  });
}

TEST(OwnProcess, AChoiceMadeMeanwhileIsNotLost) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  onAThread([] {
    std::atomic<bool> choose{false};
    std::atomic<bool> chosen{false};
    std::atomic<bool> end{false};
    std::atomic<pid_t> id{0};
    uint64_t seen = 0;
    std::thread chooser([&] {
      id.store(gettid());
      id.notify_all();
      choose.wait(false);
      SetThreadAffinity(allButLowest());
      chosen.store(true);
      chosen.notify_all();
      end.wait(false);
      seen = ThreadAffinity();
    });
    id.wait(0);
    // Between the look whether the thread has chosen and the change of it.
    beforeSetting = [&](pid_t thread) {
      if (thread == id.load() && !choose.exchange(true)) {
        choose.notify_all();
        chosen.wait(false);
      }
    };
    SystemProcesses().setOwnAffinity(lowest());
    beforeSetting = nullptr;
    EXPECT_TRUE(chosen.load());
    end.store(true);
    end.notify_all();
    chooser.join();
    EXPECT_EQ(seen, allButLowest());
  });
}

TEST(OwnProcess, AThreadThatBeginsMeanwhileIsNotForgotten) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  onAThread([] {
    std::unique_ptr<Subject> late;
    // After the threads were listed, and by one that has not been limited yet.
    beforeSetting = [&](pid_t thread) {
      if (thread == gettid() && !late) {
        late = std::make_unique<Subject>([] {});
      }
    };
    SystemProcesses().setOwnAffinity(lowest());
    beforeSetting = nullptr;
    ASSERT_TRUE(late);
    EXPECT_EQ(late->mask(), lowest());
  });
}

TEST(ThreadClaims, LastUntilTheThreadEnds) {
  struct Case {
    const char* what;
    std::optional<uint64_t> start;  // of the thread that has the id now
    std::optional<uint64_t> claimed;
  };
  const Case cases[] = {
      {"it began before it claimed", 0, 5},
      {"another thread has got the id since", uint64_t{1} << 41, std::nullopt},
      {"nobody has the id", std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    ThreadClaims claims;
    pid_t thread = 0;
    std::thread([&] {
      thread = gettid();
      claims.claim(6);
      claims.claim(5);
    }).join();
    EXPECT_EQ(claims.maskOf(thread), 5u);
    claims.prune([&c](pid_t) { return c.start; });
    EXPECT_EQ(claims.maskOf(thread), c.claimed) << c.what;
  }
}

TEST(ThreadClaims, SlotsOfEndedThreadsAreUsedAgain) {
  if (oneProcessor()) {
    GTEST_SKIP() << "one processor";
  }
  onAThread([] {
    const Processes processes = SystemProcesses();
    for (size_t k = 0; k < 3 * ThreadClaims::kSlots; ++k) {
      std::thread([] { SetThreadAffinity(lowest()); }).join();
      if (k % (ThreadClaims::kSlots / 2) == 0) {
        processes.setOwnAffinity(SystemAffinityMask());
      }
    }
    const Subject chosen([] { SetThreadAffinity(lowest()); });
    processes.setOwnAffinity(SystemAffinityMask());
    EXPECT_EQ(chosen.mask(), lowest());
  });
}

}  // namespace
}  // namespace tarnwick::platform

extern "C" int __wrap_sched_setaffinity(pid_t thread, size_t size, const cpu_set_t* set) {
  if (tarnwick::platform::beforeSetting) {
    tarnwick::platform::beforeSetting(thread);
  }
  return __real_sched_setaffinity(thread, size, set);
}
