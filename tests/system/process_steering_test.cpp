#include "system/process_steering.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "support/eventually.h"
#include "system/fake_machine.h"

namespace tarnwick::system {
namespace {

using tests::Eventually;

TEST(SteerOtherProcesses, LeavesTheOwnOnesAloneAndGoesOnAfterThoseThatRefuse) {
  FakeMachine machine;
  machine.add(0, L"[System Process]");
  machine.add(7, L"TARNWICK.EXE");  // another one of ours
  machine.add(8, L"tarnwick.exe.bak");
  machine.add(9, L"mixer.exe");
  machine.add(10, L"other.exe");
  machine.add(11, L"other.exe");
  machine.closed = {8};
  machine.stubborn = {9};
  EXPECT_EQ(SteerOtherProcesses(machine.processes(), 0b1000), (SteeringCounts{4, 2, 1, 1}));
  EXPECT_EQ(machine.taken(), (Calls{"process 10 to 8", "process 11 to 8"}));
}

TEST(SteerOtherProcesses, EachProcessGetsWhatItCanHaveOfTheChoice) {
  struct Case {
    const char* what;
    uint64_t chosen;
    platform::ProcessAffinity affinity;
    uint64_t expected;  // 0 = untouched
  };
  const Case cases[] = {
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
    EXPECT_EQ(SteerOtherProcesses(machine.processes(), c.chosen),
              (SteeringCounts{1, c.expected != 0, c.expected == 0, 0}))
        << c.what;
    EXPECT_EQ(machine.taken(), c.expected != 0 ? Calls{"process 9 to " + std::to_string(c.expected)} : Calls())
        << c.what;
  }
}

TEST(ChangeSteering, LimitsTheProcessBeforeTheThreadsAreTold) {
  const uint64_t lowest = SystemMask() & (~SystemMask() + 1);
  FakeMachine machine;
  CpuSteering steering;
  const uint32_t before = steering.generation.load();
  platform::Processes processes = machine.processes();
  uint32_t generationAtCall = 0;
  processes.setOwnAffinity = [&, set = processes.setOwnAffinity](uint64_t mask) {
    generationAtCall = steering.generation.load();
    return !set(mask);
  };
  EXPECT_FALSE(ChangeSteering(processes, steering, {lowest, 0, 0, 0, 0}));
  EXPECT_EQ(machine.taken(), Calls{"own to " + std::to_string(lowest)});
  EXPECT_EQ(generationAtCall, before);
  EXPECT_NE(steering.generation.load(), before) << "a refused process mask does not keep the threads' from changing";
  EXPECT_EQ(ChosenMasks(steering)[0], lowest);
  EXPECT_EQ(SteeringDifferences(ReportSteering(steering)),
            L"The system did not limit the program to the processors of its groups.");
  EXPECT_TRUE(ChangeSteering(machine.processes(), steering, {}));
  EXPECT_EQ(SteeringDifferences(ReportSteering(steering)), L"");
}

// Where a run waits until it may go on.
struct Gate {
  std::promise<void> entered;
  std::promise<void> mayGoOn;

  void pass() {
    entered.set_value();
    mayGoOn.get_future().wait();
  }
};

TEST(OtherProcessesSteering, OfSeveralRequestsDuringARunTheLastIsCarriedOut) {
  FakeMachine machine;
  machine.add(9, L"mixer.exe");
  Gate gate;
  platform::Processes waiting = machine.processes();
  waiting.list = [&] {
    gate.pass();
    return machine.running;
  };
  OtherProcessesSteering steering;
  EXPECT_EQ(steering.last(), std::nullopt);
  steering.request(waiting, 1);
  gate.entered.get_future().wait();
  steering.request(machine.processes(), 2);
  steering.request(machine.processes(), 4);
  EXPECT_TRUE(machine.noted().empty()) << "a request does not wait for the run";
  gate.mayGoOn.set_value();
  EXPECT_TRUE(Eventually([&] { return machine.noted() == Calls{"process 9 to 1", "process 9 to 4"}; }));
  EXPECT_TRUE(Eventually([&] { return steering.last() == SteeringCounts{1, 1, 0, 0}; }));
  // The worker has ended or is about to; one more request must not be lost in between.
  for (uint64_t round = 0; round < 50; ++round) {
    steering.request(machine.processes(), 1 + round % 8);
    ASSERT_TRUE(Eventually([&] { return machine.noted().size() == 3 + round; })) << round;
  }
}

TEST(OtherProcessesSteering, EndingItCutsARunShort) {
  FakeMachine machine;
  for (uint32_t id = 1; id <= 50; ++id) {
    machine.add(id, L"other.exe");
  }
  Gate gate;
  platform::Processes processes = machine.processes();
  processes.changeAffinity = [&, change = processes.changeAffinity](uint32_t id,
                                                                    const platform::AffinityChoice& choose) {
    if (id == 3) {
      gate.pass();
    }
    return change(id, choose);
  };
  auto steering = std::make_unique<OtherProcessesSteering>();
  steering->request(processes, 1);
  gate.entered.get_future().wait();
  std::thread release([&gate] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // by then the stop has been asked for
    gate.mayGoOn.set_value();
  });
  steering.reset();
  release.join();
  EXPECT_EQ(machine.taken().size(), 3u);
}

}  // namespace
}  // namespace tarnwick::system
