#include "app/system_requests.h"

#include <gtest/gtest.h>

#include "app/application_rig.h"
#include "support/eventually.h"
#include "system/fake_machine.h"

namespace tarnwick::app {
namespace {

using system::Calls;

// Runs body(app, machine) on a thread of its own, as the requests limit the calling one.
template <class Body>
void onAMachine(Body body) {
  std::thread([&body] {
    system::FakeMachine machine;
    machine.add(2, L"other");
    Rig rig;
    rig.app.systemControl.processes = machine.processes();
    body(rig.app, machine);
  }).join();
}

// The calls until the run on the other processes has ended too.
Calls callsWithOthers(system::FakeMachine& machine) {
  tests::Eventually([&] {
    const Calls calls = machine.noted();
    return !calls.empty() && calls.back().starts_with("process");
  });
  return machine.taken();
}

bool twoProcessors() {
  return (system::SystemMask() & 3) == 3;
}

TEST(SetSteering, ReachesProcessThreadAndOnlyThenTheOthers) {
  if (!twoProcessors()) {
    GTEST_SKIP() << "needs processors 0 and 1";
  }
  onAMachine([](Application& app, system::FakeMachine& machine) {
    SetSteering(app, {1, 0, 0, 2, 0});
    EXPECT_EQ(machine.taken(), Calls{"own to 3"}) << "the other processes were not asked for";
    EXPECT_EQ(platform::ThreadAffinity(), 2u) << "the user-interface thread has a group too";
    SetSteering(app, {1, 0, 0, 2, 0});
    EXPECT_TRUE(machine.taken().empty()) << "nothing has changed";

    SetSteering(app, {1, 0, 0, 0, 2});
    EXPECT_EQ(callsWithOthers(machine), (Calls{"own to 1", "process 2 to 2"}));
    EXPECT_NE(machine.lastCaller(), std::this_thread::get_id());
    SetSteering(app, {1, 0, 0, 1, 2});
    EXPECT_EQ(machine.taken(), Calls{"own to 1"});
    SetSteering(app, {1, 0, 0, 1, 0});
    EXPECT_EQ(callsWithOthers(machine), (Calls{"own to 1", "process 2 to 15"})) << "the choice is taken back";
  });
}

TEST(SetSteering, FitsTheWorkersToTheProcessors) {
  onAMachine([](Application& app, system::FakeMachine&) {
    app.steering.processors = 0b111;
    for (int instance = 0; instance < 2; ++instance) {
      app.engine.instances.append(app.engine.instances.prepareSlot(), app.engine.session.epoch);
    }
    app.engine.hostRunning = true;
    SetSteering(app, {0b011, 0, 0, 0, 0});
    EXPECT_NE(app.engine.pool, nullptr);
    SetSteering(app, {0b001, 0, 0, 0, 0});
    EXPECT_EQ(app.engine.pool, nullptr);
  });
}

TEST(StartSteering, AppliesWhatWasStored) {
  if (!twoProcessors()) {
    GTEST_SKIP() << "needs processors 0 and 1";
  }
  onAMachine([](Application& app, system::FakeMachine& machine) {
    RaisePriorities(app);
    const int realtime = static_cast<int>(platform::ProcessClass::realtime);
    EXPECT_EQ(machine.taken(), (Calls{"class " + std::to_string(realtime), "level -1"}));
    StartSteering(app);
    EXPECT_EQ(machine.taken(), Calls{"own to " + std::to_string(system::SystemMask())}) << "nothing stored";

    system::SetSteeringMasks(app.steering, {1, 0, 0, 2, 1});
    StartSteering(app);
    EXPECT_EQ(callsWithOthers(machine), (Calls{"own to 3", "process 2 to 1"}));
    EXPECT_EQ(platform::ThreadAffinity(), 2u);
    LookAfterThreads(app);
    EXPECT_EQ(machine.taken(), Calls{"new threads to 3"});
  });
}

TEST(SystemRequests, WhatTheSystemRefusesIsLogged) {
  onAMachine([](Application& app, system::FakeMachine& machine) {
    machine.stubborn = {2};
    app.systemControl.processes.setOwnAffinity = [](uint64_t) { return false; };
    app.systemControl.processes.setUiThreadLevel = [](int32_t) { return 1; };
    const size_t before = app.log.lines().size();
    SetSteering(app, {0, 0, 0, 0, 1});
    SetUiPriority(app, 4);
    tests::Eventually([&] { return app.systemControl.otherProcesses.last().has_value(); });
    LookAfterThreads(app);
    LookAfterThreads(app);
    std::wstring told;
    for (size_t k = before; k < app.log.lines().size(); ++k) {
      told += app.log.lines()[k].substr(13) + L"\n";
    }
    EXPECT_EQ(told,
              L"The system gave the user interface priority level 1, not 2.\n"
              L"Processors of the other processes: 0 were given theirs, 0 may not be changed, the system refused 1.\n"
              L"The system did not limit the program to the processors of its groups.\n");
  });
}

TEST(SetUiPriority, IsBroughtIntoTheTableAndAskedFor) {
  onAMachine([](Application& app, system::FakeMachine& machine) {
    const struct {
      int32_t asked;
      int32_t row;
      const char* level;
    } cases[] = {{-7, 0, "level -15"}, {4, 4, "level 2"}, {99, 5, "level 15"}};
    for (const auto& c : cases) {
      SetUiPriority(app, c.asked);
      EXPECT_EQ(machine.taken(), Calls{c.level});
      EXPECT_EQ(app.systemControl.uiPriority.load(), c.row);
    }
  });
}

}  // namespace
}  // namespace tarnwick::app
