#include "system/process_steering.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <map>
#include <mutex>
#include <set>

#include "support/eventually.h"

namespace tarnwick::system {
namespace {

using platform::AffinityOutcome;
using tests::Eventually;

constexpr uint32_t kOwn = 100;

// A machine of its own. Written and read by one thread at a time.
struct FakeMachine {
  std::vector<platform::ProcessEntry> running{{kOwn, L"Tarnwick.exe"}};
  std::map<uint32_t, platform::ProcessAffinity> affinities{{kOwn, {0b1111, 0b1111}}};
  std::set<uint32_t> closed;    // may not be opened
  std::set<uint32_t> stubborn;  // refuse
  std::map<uint32_t, uint64_t> given;
  std::vector<std::string> ownCalls;

  platform::Processes processes() {
    platform::Processes p;
    p.list = [this] { return running; };
    p.ownId = [] { return kOwn; };
    p.ownExecutable = [] { return std::wstring(L"Tarnwick.exe"); };
    p.readAffinity = [this](uint32_t id) {
      return closed.count(id) != 0 ? platform::ProcessAffinity{} : affinities[id];
    };
    p.changeAffinity = [this](uint32_t id, const platform::AffinityChoice& choose) {
      if (closed.count(id) != 0) {
        return AffinityOutcome::denied;
      }
      const uint64_t mask = choose(affinities[id]);
      if (mask == 0) {
        return AffinityOutcome::left;
      }
      if (stubborn.count(id) != 0) {
        return AffinityOutcome::failed;
      }
      given[id] = mask;
      return AffinityOutcome::set;
    };
    p.setOwnAffinity = [this](uint64_t mask) {
      ownCalls.push_back("mask " + std::to_string(mask));
      return true;
    };
    p.limitNewThreads = [this](uint64_t mask) { ownCalls.push_back("new threads " + std::to_string(mask)); };
    p.setOwnClass = [this](platform::ProcessClass processClass) {
      ownCalls.push_back("class " + std::to_string(static_cast<int>(processClass)));
      return true;
    };
    p.setUiThreadLevel = [this](int32_t level) {
      ownCalls.push_back("level " + std::to_string(level));
      return level;
    };
    return p;
  }

  void add(uint32_t id, const std::wstring& executable, platform::ProcessAffinity affinity = {0b1111, 0b1111}) {
    running.push_back({id, executable});
    affinities[id] = affinity;
  }
};

TEST(SteerOtherProcesses, LeavesTheOwnOnesAndProcessZeroAlone) {
  FakeMachine machine;
  machine.add(0, L"[System Process]");
  machine.add(7, L"TARNWICK.EXE");  // another one of ours
  machine.add(8, L"tarnwick.exe.bak");
  machine.add(9, L"mixer.exe");
  EXPECT_EQ(SteerOtherProcesses(machine.processes(), 0b1000), (SteeringCounts{2, 2, 0, 0}));
  EXPECT_EQ(machine.given, (std::map<uint32_t, uint64_t>{{8, 0b1000}, {9, 0b1000}}));
}

TEST(SteerOtherProcesses, EachProcessGetsWhatItCanHaveOfTheChoice) {
  struct Case {
    const char* what;
    uint64_t chosen;
    platform::ProcessAffinity affinity;
    uint64_t expected;  // 0 = untouched
  };
  const Case cases[] = {
      {"plain", 0b1100, {0b1111, 0b1111}, 0b1100},
      {"no choice gives the machine back", 0, {0b0001, 0b1111}, 0b1111},
      {"only processors that are not there", 0b110000, {0b0001, 0b1111}, 0b1111},
      {"partly there", 0b111000, {0b1111, 0b1111}, 0b1000},
      {"the process may have fewer than the machine", 0b0110, {0b0001, 0b0011}, 0b0010},
      {"nothing in common", 0b1100, {0b0011, 0b0011}, 0},
      {"masks that cannot be read are no reason to leave it", 0b0100, {0, 0}, 0b0100},
  };
  for (const Case& c : cases) {
    FakeMachine machine;
    machine.add(9, L"mixer.exe", c.affinity);
    const SteeringCounts counts = SteerOtherProcesses(machine.processes(), c.chosen);
    EXPECT_EQ(machine.given.count(9) != 0 ? machine.given[9] : 0, c.expected) << c.what;
    EXPECT_EQ(counts, (SteeringCounts{1, c.expected != 0, c.expected == 0, 0})) << c.what;
  }
}

TEST(SteerOtherProcesses, GoesOnAfterProcessesThatRefuse) {
  FakeMachine machine;
  for (uint32_t id = 1; id <= 4; ++id) {
    machine.add(id, L"other.exe");
  }
  machine.closed = {1};
  machine.stubborn = {2};
  EXPECT_EQ(SteerOtherProcesses(machine.processes(), 1), (SteeringCounts{4, 2, 1, 1}));
  EXPECT_EQ(machine.given, (std::map<uint32_t, uint64_t>{{3, 1}, {4, 1}}));
}

TEST(ChangeSteering, LimitsTheProcessBeforeTheThreadsAreTold) {
  const uint64_t lowest = SystemMask() & (~SystemMask() + 1);
  FakeMachine machine;
  CpuSteering steering;
  const uint32_t before = steering.generation.load();
  platform::Processes processes = machine.processes();
  uint32_t generationAtCall = 0;
  processes.setOwnAffinity = [&](uint64_t mask) {
    generationAtCall = steering.generation.load();
    machine.ownCalls.push_back("mask " + std::to_string(mask));
    return false;
  };
  EXPECT_TRUE(ChangeSteering(processes, steering, {})) << "the same masks: nothing to do";
  EXPECT_TRUE(machine.ownCalls.empty());
  EXPECT_FALSE(ChangeSteering(processes, steering, {lowest, 0, 0, 0, 0}));
  EXPECT_EQ(machine.ownCalls, std::vector<std::string>{"mask " + std::to_string(lowest)});
  EXPECT_EQ(generationAtCall, before);
  EXPECT_NE(steering.generation.load(), before) << "a refused process mask does not keep the threads' from changing";
  EXPECT_EQ(ChosenMasks(steering)[0], lowest);
}

TEST(ApplyStartPriorities, RealtimeProcessAndAUserInterfaceThatYields) {
  FakeMachine machine;
  const StartPriorities granted = ApplyStartPriorities(machine.processes());
  const int realtime = static_cast<int>(platform::ProcessClass::realtime);
  EXPECT_EQ(machine.ownCalls, (std::vector<std::string>{"class " + std::to_string(realtime), "level -1"}));
  EXPECT_TRUE(granted.processClass);
  EXPECT_EQ(granted.uiLevel, -1);
}

// A machine whose list makes the run wait, and which notes the masks of all runs.
struct SlowMachine {
  FakeMachine machine;
  std::promise<void> entered;
  std::promise<void> mayGoOn;
  std::mutex mutex;
  std::vector<uint64_t> masks;

  platform::Processes processes() {
    platform::Processes p = machine.processes();
    p.list = [this, first = true]() mutable {
      if (std::exchange(first, false)) {
        entered.set_value();
        mayGoOn.get_future().wait();
      }
      return machine.running;
    };
    p.changeAffinity = [this](uint32_t id, const platform::AffinityChoice& choose) {
      const std::lock_guard<std::mutex> lock(mutex);
      masks.push_back(choose(machine.affinities[id]));
      return AffinityOutcome::set;
    };
    return p;
  }

  std::vector<uint64_t> seen() {
    const std::lock_guard<std::mutex> lock(mutex);
    return masks;
  }
};

TEST(OtherProcessesSteering, OfSeveralRequestsDuringARunTheLastIsCarriedOut) {
  SlowMachine slow;
  slow.machine.add(9, L"mixer.exe");
  platform::Processes later = slow.processes();
  later.list = [&slow] { return slow.machine.running; };
  OtherProcessesSteering steering;
  EXPECT_EQ(steering.last(), std::nullopt);
  steering.request(slow.processes(), 1);
  slow.entered.get_future().wait();
  steering.request(later, 2);
  steering.request(later, 4);
  EXPECT_TRUE(slow.seen().empty()) << "a request does not wait for the run";
  slow.mayGoOn.set_value();
  EXPECT_TRUE(Eventually([&] { return slow.seen() == std::vector<uint64_t>{1, 4}; }));
  EXPECT_TRUE(Eventually([&] { return steering.last() == SteeringCounts{1, 1, 0, 0}; }));
  // The worker has ended or is about to; one more request must not be lost in between.
  for (uint64_t round = 0; round < 50; ++round) {
    steering.request(later, 1 + round % 8);
    ASSERT_TRUE(Eventually([&] { return slow.seen().size() == 3 + round; })) << round;
  }
}

TEST(OtherProcessesSteering, EndingItCutsARunShort) {
  SlowMachine slow;
  for (uint32_t id = 1; id <= 50; ++id) {
    slow.machine.add(id, L"other.exe");
  }
  platform::Processes processes = slow.processes();
  processes.changeAffinity = [&slow](uint32_t id, const platform::AffinityChoice& choose) {
    if (id == 3) {
      slow.entered.set_value();
      slow.mayGoOn.get_future().wait();
    }
    const std::lock_guard<std::mutex> lock(slow.mutex);
    slow.masks.push_back(choose(slow.machine.affinities[id]));
    return AffinityOutcome::set;
  };
  processes.list = [&slow] { return slow.machine.running; };
  auto steering = std::make_unique<OtherProcessesSteering>();
  steering->request(processes, 1);
  slow.entered.get_future().wait();
  std::thread release([&slow] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // by then the stop has been asked for
    slow.mayGoOn.set_value();
  });
  steering.reset();
  release.join();
  EXPECT_EQ(slow.seen().size(), 3u);
}

}  // namespace
}  // namespace tarnwick::system
