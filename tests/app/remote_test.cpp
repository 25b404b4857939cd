// A remote client's reads and changes, as far as the application decides them.
#include <gmock/gmock.h>

#include <algorithm>
#include <limits>

#include "app/application_rig.h"
#include "app/remote/callbacks.h"
#include "app/remote/patches.h"
#include "app/remote/status.h"

namespace tarnwick::app {
namespace {

using remote::RemoteInstancePatch;
using remote::RemoteStatusSnapshot;

RemoteStatusSnapshot statusOf(Application& app) {
  RemoteStatusSnapshot status;
  FillRemoteStatus(app, status);
  return status;
}

template <class Patch, class Value>
Patch with(std::optional<Value> Patch::*member, Value value) {
  Patch patch;
  patch.*member = std::move(value);
  return patch;
}

TEST(RemotePatch, ChangesAnInstanceAndOnlyWhatItNames) {
  Rig rig;
  const uint64_t clock = statusOf(rig.app).runningClockSyncId;
  rig.start(2);
  EXPECT_NE(statusOf(rig.app).runningClockSyncId, clock) << "each start has a clock of its own";
  RemoteInstancePatch patch;
  patch.inputGainDb = 90.0;
  patch.outputGainDb = -1e300;
  patch.testSignalEnabled = true;
  std::wstring error;
  ASSERT_TRUE(ApplyInstancePatch(rig.app, 1, patch, error));
  const remote::RemoteInstance changed = statusOf(rig.app).instances.at(1);
  EXPECT_EQ(changed.inputGainDb, 24.0);
  EXPECT_EQ(changed.outputGainDb, -60.0);
  EXPECT_TRUE(changed.testSignalEnabled);
  EXPECT_EQ(changed.inputChannel, 1);
  EXPECT_FALSE(statusOf(rig.app).instances.at(0).testSignalEnabled);
}

TEST(RemotePatch, RejectedOnesChangeNothing) {
  Rig rig;
  rig.start(1);
  const auto before = statusOf(rig.app);
  std::wstring error;
  const std::pair<uint32_t, RemoteInstancePatch> instances[] = {
      {1, with(&RemoteInstancePatch::bypassEnabled, true)},
      {std::numeric_limits<uint32_t>::max(), with(&RemoteInstancePatch::bypassEnabled, true)},
      {0, with(&RemoteInstancePatch::inputChannel, 2)},  // the device has two
      {0, with(&RemoteInstancePatch::outputChannel, -2)},
  };
  for (auto [index, patch] : instances) {
    patch.name = L"changed";
    EXPECT_FALSE(ApplyInstancePatch(rig.app, index, patch, error));
    EXPECT_FALSE(error.empty());
  }
  const auto after = statusOf(rig.app);
  EXPECT_EQ(after.instances.at(0).name, before.instances.at(0).name);
}

TEST(RemotePatch, ADeviceIsChosenWhileNoneIsOpen) {
  Rig rig;
  const auto callbacks = MakeRemoteCallbacks(rig.app);
  ASSERT_TRUE(callbacks.audioConfig({{"device", "TARNWICK virtual audio"}, {"bufferSize", "100"}}));
  const auto status = statusOf(rig.app);
  EXPECT_EQ(status.device, L"Tarnwick Virtual Audio");
  EXPECT_THAT(status.bufferSizeOptions, ::testing::ElementsAre(32, 64, 100, 128, 256, 512, 1024, 2048));
}

TEST(RemoteStatus, BypassAllLeavesTheRowsTheirOwnChoice) {
  Rig rig;
  rig.start(2);
  std::wstring error;
  ASSERT_TRUE(ApplyInstancePatch(rig.app, 0, with(&RemoteInstancePatch::bypassEnabled, true), error));
  SetBypassAll(rig.app, true);
  const auto& instances = rig.app.engine.instances;
  EXPECT_EQ(instances.instance(1).config.bypassEnabled, 1);
  ASSERT_TRUE(ApplyInstancePatch(rig.app, 1, with(&RemoteInstancePatch::inputGainDb, 1.0), error));
  EXPECT_EQ(instances.instance(1).config.bypassEnabled, 1);
  EXPECT_FALSE(statusOf(rig.app).instances.at(1).bypassEnabled);
  SetBypassAll(rig.app, false);
  EXPECT_EQ(instances.instance(0).config.bypassEnabled, 1);
  EXPECT_EQ(instances.instance(1).config.bypassEnabled, 0);
}

TEST(RemoteActions, ARefusalIsToldAtOnceUnlessAnActionIsStillToRun) {
  Rig rig;
  AddWiredInstances(rig.app, 1);
  const auto callbacks = MakeRemoteCallbacks(rig.app);
  PublishRefusals(rig.app);
  std::wstring error;
  EXPECT_FALSE(callbacks.startHost(error));
  EXPECT_EQ(error, L"Press ASIO Start first, then start the instance host.");
  // As on the user-interface thread, the log tells of it.
  rig.seen.log.clear();
  rig.runPosted();
  EXPECT_EQ(rig.seen.log, (std::vector<std::wstring>{engine::kStartIgnored, error}));
  // A script that starts the device and then the host does not wait for the first.
  EXPECT_TRUE(callbacks.startAsio());
  error.clear();
  EXPECT_TRUE(callbacks.startHost(error));
  rig.runPosted();
  EXPECT_TRUE(rig.app.engine.hostRunning.load());
  EXPECT_FALSE(callbacks.stopAsio(error));
  EXPECT_EQ(error, L"Stop the instance host before stopping ASIO.");
}

TEST(RemoteActions, AFloodOfThemIsBounded) {
  Rig rig;
  const auto callbacks = MakeRemoteCallbacks(rig.app);
  rig.app.device.list.selected = L"Nothing";
  rig.seen.log.clear();
  for (int k = 0; k < 1000; ++k) {
    EXPECT_TRUE(callbacks.refreshAsio() && callbacks.startAsio());
  }
  int taken = 0;
  while (taken < 1000 && callbacks.toggleBypassAll()) {
    ++taken;
  }
  EXPECT_EQ(taken, 254) << "beside one refresh and one start";
  rig.runPosted();
  for (const wchar_t* line : {L"Device list refreshed.", L"Select an ASIO device."}) {
    EXPECT_EQ(std::count(rig.seen.log.begin(), rig.seen.log.end(), line), 1) << platform::Utf8FromWide(line);
  }
  EXPECT_TRUE(callbacks.toggleBypassAll()) << "all have run";
}

TEST(RemoteActions, AStartAfterAStopIsNotTheOneBeforeIt) {
  Rig rig;
  const auto callbacks = MakeRemoteCallbacks(rig.app);
  std::wstring error;
  for (const bool startsAgain : {false, true}) {
    EXPECT_TRUE(callbacks.startAsio() && callbacks.stopAsio(error) && (!startsAgain || callbacks.startAsio()));
    rig.runPosted();
    EXPECT_EQ(rig.app.engine.asioRunning.load(), startsAgain);
  }
}

// A daily restart that the system refuses.
TEST(ScheduledRestart, ARefusedOneLeavesTheHostAsItWas) {
  constexpr system::LocalTime kMinute = 600'000'000;
  for (const bool wasRunning : {true, false}) {
    Rig rig;
    int asked = 0;
    rig.app.power.restart = [&asked] { return ++asked < 0; };
    rig.app.preferences.scheduleReboot = true;
    rig.app.preferences.restartTime = std::chrono::minutes(60);
    rig.start(1);
    if (!wasRunning) {
      StopHost(rig.app);
    }
    rig.runUntil([&] {
      if (asked == 0 && !rig.app.engine.hostStopping.load()) {
        CheckSchedule(rig.app, 60 * kMinute);
      }
      return asked > 0 && !rig.app.engine.hostStopping.load();
    });
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(rig.app.engine.hostRunning.load(), wasRunning);
    EXPECT_THAT(rig.seen.log, ::testing::Contains(::testing::HasSubstr(L"Scheduled reboot failed")));
  }
}

}  // namespace
}  // namespace tarnwick::app
