#include "app/system_requests.h"

#include <gtest/gtest.h>

#include <mutex>

#include "support/eventually.h"
#include "support/thread_masks.h"

namespace tarnwick::app {
namespace {

using system::SteeringGroup;
using system::SteeringMasks;

// A machine of two processors with one other process; every call is noted.
struct FakeMachine {
  std::mutex mutex;
  std::vector<std::string> calls;
  std::thread::id steeredOn;

  void note(const std::string& call) {
    const std::lock_guard<std::mutex> lock(mutex);
    calls.push_back(call);
    steeredOn = std::this_thread::get_id();
  }
  std::vector<std::string> taken() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(calls, {});
  }

  platform::Processes processes() {
    platform::Processes p;
    p.list = [] { return std::vector<platform::ProcessEntry>{{1, L"own"}, {2, L"other"}}; };
    p.ownId = [] { return uint32_t{1}; };
    p.ownExecutable = [] { return std::wstring(L"own"); };
    p.readAffinity = [](uint32_t) { return platform::ProcessAffinity{3, 3}; };
    p.changeAffinity = [this](uint32_t id, const platform::AffinityChoice& choose) {
      note("process " + std::to_string(id) + " to " + std::to_string(choose({3, 3})));
      return platform::AffinityOutcome::set;
    };
    p.setOwnAffinity = [this](uint64_t mask) {
      note("own to " + std::to_string(mask));
      return true;
    };
    p.limitNewThreads = [this](uint64_t mask) { note("new threads to " + std::to_string(mask)); };
    p.setOwnClass = [this](platform::ProcessClass) {
      note("class");
      return true;
    };
    p.setUiThreadLevel = [this](int32_t level) {
      note("level " + std::to_string(level));
      return level;
    };
    return p;
  }
};

using Calls = std::vector<std::string>;

Surface silentSurface() {
  Surface surface;
  surface.logLine = [](const std::wstring&) {};
  surface.messageBox = [](engine::BoxKind, const std::wstring&, const std::wstring&) {};
  surface.refresh = [] {};
  surface.print = [](const std::wstring&) {};
  return surface;
}

struct Rig {
  FakeMachine machine;
  Application app{Options{}, silentSurface()};
  Rig() { app.systemControl.processes = machine.processes(); }

  // Calls until the run on the other processes has ended too.
  Calls callsWithOthers() {
    Calls all;
    tests::Eventually([&] {
      for (std::string& call : machine.taken()) {
        all.push_back(std::move(call));
      }
      return !all.empty() && all.back().starts_with("process");
    });
    return all;
  }
};

// The requests limit the calling thread, so each test runs on one of its own.
template <class Body>
void onAThread(Body body) {
  std::thread([&body] {
    Rig rig;
    body(rig);
  }).join();
}

bool twoProcessors() {
  return (system::SystemMask() & 3) == 3;
}

TEST(SetSteering, ReachesProcessThreadAndOnlyThenTheOthers) {
  if (!twoProcessors()) {
    GTEST_SKIP() << "needs processors 0 and 1";
  }
  onAThread([](Rig& rig) {
    SetSteering(rig.app, {1, 0, 0, 2, 0});
    EXPECT_EQ(rig.machine.taken(), Calls{"own to 3"}) << "the other processes were not asked for";
    EXPECT_EQ(platform::ThreadAffinity(), 2u) << "the user-interface thread has a group too";
    SetSteering(rig.app, {1, 0, 0, 2, 0});
    EXPECT_TRUE(rig.machine.taken().empty()) << "nothing has changed";

    SetSteering(rig.app, {1, 0, 0, 0, 2});
    EXPECT_EQ(rig.callsWithOthers(), (Calls{"own to 1", "process 2 to 2"}));
    EXPECT_NE(rig.machine.steeredOn, std::this_thread::get_id());
    SetSteering(rig.app, {1, 0, 0, 1, 2});
    EXPECT_EQ(rig.machine.taken(), Calls{"own to 1"});
    SetSteering(rig.app, {1, 0, 0, 1, 0});
    EXPECT_EQ(rig.callsWithOthers(), (Calls{"own to 1", "process 2 to 3"})) << "the choice is taken back";
    EXPECT_EQ(system::ChosenMasks(rig.app.steering), (SteeringMasks{1, 0, 0, 1, 0}));
  });
}

TEST(StartSteering, AppliesWhatWasStored) {
  if (!twoProcessors()) {
    GTEST_SKIP() << "needs processors 0 and 1";
  }
  onAThread([](Rig& rig) {
    RaisePriorities(rig.app);
    EXPECT_EQ(rig.machine.taken(), (Calls{"class", "level -1"})) << "the window is not there yet";
    StartSteering(rig.app);
    EXPECT_EQ(rig.machine.taken(), Calls{"own to " + std::to_string(system::SystemMask())}) << "nothing stored";
  });
  onAThread([](Rig& rig) {
    system::SetSteeringMasks(rig.app.steering, {1, 0, 0, 2, 1});
    StartSteering(rig.app);
    EXPECT_EQ(rig.callsWithOthers(), (Calls{"own to 3", "process 2 to 1"}));
    EXPECT_EQ(platform::ThreadAffinity(), 2u);
    LookAfterThreads(rig.app);
    EXPECT_EQ(rig.machine.taken(), Calls{"new threads to 3"});
  });
}

TEST(Priorities, AreBroughtIntoTheTable) {
  onAThread([](Rig& rig) {
    struct Case {
      int32_t asked;
      int32_t row;
      const char* level;
    };
    const Case cases[] = {{-7, 0, "level -15"}, {0, 0, "level -15"}, {4, 4, "level 2"}, {99, 5, "level 15"}};
    for (const Case& c : cases) {
      SetEnginePriority(rig.app, c.asked);
      SetAudioPriority(rig.app, c.asked);
      SetNetworkPriority(rig.app, c.asked);
      EXPECT_TRUE(rig.machine.taken().empty());
      SetUiPriority(rig.app, c.asked);
      EXPECT_EQ(rig.machine.taken(), Calls{c.level});
      EXPECT_EQ(rig.app.engine.enginePriority.load(), c.row);
      EXPECT_EQ(rig.app.systemControl.uiPriority.load(), c.row);
      EXPECT_EQ(rig.app.systemControl.audioPriority.load(), c.row);
      EXPECT_EQ(rig.app.systemControl.networkPriority.load(), c.row);
    }
    SetMmcss(rig.app, false);
    EXPECT_FALSE(rig.app.engine.mmcssEnabled.load());
    SetMmcss(rig.app, true);
    EXPECT_TRUE(rig.app.engine.mmcssEnabled.load());
  });
}

}  // namespace
}  // namespace tarnwick::app
