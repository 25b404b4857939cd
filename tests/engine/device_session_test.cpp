#include "engine/device_session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using namespace platform;
using tests::EngineRig;

TEST(DeviceSession, BlockLengthRules) {
  const struct {
    int32_t requested, minimum, maximum, preferred, chosen;
  } cases[] = {{64, 16, 1024, 256, 64},     {0, 16, 1024, 256, 256},
               {-5, 16, 1024, 256, 256},    {8, 16, 1024, 256, 16},
               {4096, 16, 1024, 256, 1024}, {100, 16, 1024, 256, 100} /* the granularity is not applied */,
               {64, 512, 512, 512, 512}};
  for (const auto& c : cases) {
    EXPECT_EQ(ChooseBlockLength(c.requested, c.minimum, c.maximum, c.preferred), c.chosen);
  }
  EXPECT_EQ(BlockLengthFromText(L"128"), 128);
  EXPECT_EQ(BlockLengthFromText(L"fast"), 256);
  EXPECT_EQ(BlockLengthFromText(L""), 256);
  EXPECT_EQ(BlockLengthFromText(L"0"), 0);
  EXPECT_EQ(BlockLengthFromText(L"99999999999999999999"), INT32_MAX);
}

TEST(DeviceSession, OperationsInTheirOrder) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice(64));
  const std::vector<std::string> start = {"loadAsioDriver",     "ASIOInit",           "ASIOGetChannels",
                                          "ASIOGetBufferSize",  "ASIOOutputReady",    "ASIOCreateBuffers",
                                          "ASIOGetChannelInfo", "ASIOGetChannelInfo", "ASIOGetChannelInfo",
                                          "ASIOGetChannelInfo", "ASIOStart"};
  EXPECT_EQ(rig.device.calls, start);
  EXPECT_EQ(rig.device.init.driverVersion, 2);
  EXPECT_EQ(rig.user.log.back(), L"ASIO started: Fake (buffer=64)");
  EXPECT_TRUE(rig.engine.asioRunning);
  EXPECT_EQ(rig.engine.session.bufferInfos.size(), 4u);
  EXPECT_TRUE(rig.engine.session.bufferInfos[1].isInput);
  EXPECT_FALSE(rig.engine.session.bufferInfos[2].isInput);

  rig.device.calls.clear();
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
  EXPECT_EQ(rig.device.calls, (std::vector<std::string>{"ASIOStop", "ASIODisposeBuffers", "ASIOExit"}));
  EXPECT_EQ(rig.device.loaded, 0);
  EXPECT_EQ(rig.engine.session.blockLength, 0);
  EXPECT_EQ(rig.engine.session.sampleRate, 48000.0);
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false)) << "stopping what is stopped succeeds";
}

TEST(DeviceSession, ABlockThatTheDriverKeepsDoesNotHoldUpTheStop) {
  using std::chrono::milliseconds;
  for (const bool inDriver : {true, false}) {
    EngineRig rig;
    std::atomic<bool> entered{false};
    std::atomic<bool> kept{true};
    const auto keepFirst = [&] {
      if (!entered.exchange(true)) {
        entered.notify_all();
        kept.wait(true);
      }
    };
    ASSERT_TRUE(rig.startDevice());
    DeviceSession& session = rig.engine.session;
    if (inDriver) {
      rig.device.inOutputReady = keepFirst;
    } else {
      rig.engine.captureHook = [&keepFirst](int32_t, int32_t) { keepFirst(); };
    }
    std::thread block([&] { rig.device.runBlock(); });
    entered.wait(false);
    EXPECT_TRUE(AwaitCallbackIdle(session.epoch, milliseconds(inDriver ? 5000 : 10)) == inDriver);
    rig.engine.asioRunning = false;
    EXPECT_FALSE(CloseSession(session, milliseconds(20)));
    EXPECT_EQ(rig.device.calls.back(), "ASIOExit");
    EXPECT_EQ(rig.device.loaded, 1) << "its operation is still running";
    ASSERT_TRUE(rig.startDevice());
    rig.device.runBlock();
    EXPECT_EQ(rig.engine.counters.refusedBlocks.load(), 0u);
    EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
    kept.store(false);
    kept.notify_all();
    block.join();
  }
}

TEST(DeviceSession, EveryFailureIsNamedAndUndone) {
  const struct {
    const char* operation;
    AsioError result;
    const wchar_t* text;
    std::vector<std::string> undo;
  } cases[] = {
      {"ASIOInit", ASE_NotPresent, L"ASIOInit failed: ASE_NotPresent", {}},
      {"ASIOInit", ASE_NoMemory, L"ASIOInit failed: ASE_NoMemory", {}},
      {"ASIOInit", -7, L"ASIOInit failed: ASE_Unknown", {}},
      {"ASIOGetChannels", ASE_InvalidMode, L"ASIOGetChannels failed.", {"ASIOExit"}},
      {"ASIOGetBufferSize", ASE_NoClock, L"ASIOGetBufferSize failed.", {"ASIOExit"}},
      {"ASIOCreateBuffers", ASE_NoMemory, L"ASIOCreateBuffers failed.", {"ASIOExit"}},
      {"ASIOGetChannelInfo", ASE_HWMalfunction, L"ASIOGetChannelInfo failed.", {"ASIODisposeBuffers", "ASIOExit"}},
      {"ASIOStart", ASE_SPNotAdvancing, L"ASIOStart failed.", {"ASIODisposeBuffers", "ASIOExit"}},
  };
  for (const auto& c : cases) {
    EngineRig rig;
    rig.device.results[c.operation] = c.result;
    std::wstring error;
    EXPECT_FALSE(rig.startDevice(64, 48000.0, &error));
    EXPECT_EQ(error, c.text);
    EXPECT_EQ(rig.user.log.back(), c.text);
    const auto& calls = rig.device.calls;
    const auto failed = std::find(calls.rbegin(), calls.rend(), c.operation).base();
    EXPECT_EQ(std::vector<std::string>(failed, calls.end()), c.undo) << c.text;
    EXPECT_EQ(rig.device.loaded, 0) << "the driver is unloaded";
    EXPECT_FALSE(rig.engine.asioRunning);
    rig.device.results.clear();
    EXPECT_TRUE(rig.startDevice()) << "a failed start leaves nothing behind that stops the next";
  }
}

TEST(DeviceSession, NothingSelectedNothingLoadable) {
  EngineRig rig;
  std::wstring error;
  EXPECT_FALSE(StartAsio(rig.engine, rig.device.backEnd(), {}, rig.user.ui(), &error, true));
  EXPECT_EQ(error, L"Select an ASIO device.");
  EXPECT_EQ(rig.user.boxes.back(), L"Tarnwick: Select an ASIO device.");
  SessionRequest request;
  request.deviceName = L"Gone";
  EXPECT_FALSE(StartAsio(rig.engine, rig.device.backEnd({L"Gone"}, L"Gone"), request, rig.user.ui(), &error, false));
  EXPECT_EQ(error, L"ASIO loadDriver failed for: Gone");
}

TEST(DeviceSession, AbsurdAnswersOfADriverEndTheStart) {
  const struct {
    int32_t inputs, outputs, minimum, maximum;
    const wchar_t* text;
  } cases[] = {{-1, 2, 16, 512, L"ASIOGetChannels failed."},
               {0, 0, 16, 512, L"ASIOGetChannels failed."},
               {1 << 30, 2, 16, 512, L"ASIOGetChannels failed."},
               {2, 2, 0, 0, L"ASIOGetBufferSize failed."},
               {2, 2, 1 << 30, INT32_MAX, L"ASIOGetBufferSize failed."}};
  for (const auto& c : cases) {
    EngineRig rig;
    rig.device.inputs = c.inputs;
    rig.device.outputs = c.outputs;
    rig.device.minimum = c.minimum;
    rig.device.maximum = c.maximum;
    std::wstring error;
    EXPECT_FALSE(rig.startDevice(64, 48000.0, &error));
    EXPECT_EQ(error, c.text);
  }
  EngineRig outputsOnly;
  outputsOnly.device.inputs = 0;
  EXPECT_TRUE(outputsOnly.startDevice());
}

TEST(DeviceSession, SampleRateIsTheRequestedOneUntilTheDriverReportsAnother) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice(64, 0.5));
  EXPECT_EQ(rig.engine.session.sampleRate, 48000.0);
  rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, 96000.0);
  EXPECT_EQ(rig.engine.session.sampleRate, 96000.0);
  rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, 0.0);
  EXPECT_EQ(rig.engine.session.sampleRate, 96000.0);
}

TEST(DeviceSession, Notifications) {
  EngineRig rig;
  int posted = 0;
  rig.engine.postLatenciesChanged = [&posted] { posted += 1; };
  ASSERT_TRUE(rig.startDevice());
  const int32_t answers[][2] = {{1, 1}, {2, 2}, {3, 1}, {4, 0}, {5, 1}, {6, 1}, {7, 0}, {8, 0}, {-1, 0}};
  for (const auto& [selector, answer] : answers) {
    EXPECT_EQ(rig.device.callbacks.asioMessage(rig.device.callbacks.context, selector, 0), answer) << selector;
  }
  EXPECT_EQ(posted, 1);
}

TEST(DeviceSession, LatencyText) {
  EngineRig rig;
  EXPECT_EQ(LatencyText(rig.engine.session), L"Input Latency : -, Output Latency : -");
  ASSERT_TRUE(rig.startDevice());
  EXPECT_EQ(LatencyText(rig.engine.session),
            L"Input Latency : 64 samples (1.33 ms), Output Latency : 96 samples (2.00 ms)");
  rig.device.inputLatency = -1;
  EXPECT_EQ(LatencyText(rig.engine.session), L"Input Latency : -, Output Latency : 96 samples (2.00 ms)");
}

TEST(DeviceList, KeepsWhatAnswers) {
  EngineRig rig;
  const HostUi ui = rig.user.ui();
  DeviceList list;
  list.selected = L"fake B";
  RefreshDeviceList(rig.engine, rig.device.backEnd({L"Fake A", L"Fake B", L"Broken"}, L"Broken"), list, ui);
  EXPECT_EQ(list.devices, (std::vector<std::wstring>{L"Fake A", L"Fake B"}));
  EXPECT_EQ(list.selected, L"Fake B");
  EXPECT_EQ(rig.user.log.back(), L"Device list refreshed.");
  EXPECT_EQ(rig.device.loaded, 0);

  RefreshDeviceList(rig.engine, rig.device.backEnd({L"Fake A"}), list, ui);
  EXPECT_EQ(list.selected, L"");
  EXPECT_EQ(rig.user.log[rig.user.log.size() - 2], L"Saved ASIO device is not available; selection cleared.");

  RefreshDeviceList(rig.engine, rig.device.backEnd({}), list, ui);
  EXPECT_EQ(list.placeholder, L"(No ASIO drivers found)");
  EXPECT_EQ(rig.user.log.back(), L"No ASIO drivers detected.");

  rig.device.results["ASIOInit"] = ASE_NotPresent;
  list.selected = L"Fake";
  RefreshDeviceList(rig.engine, rig.device.backEnd(), list, ui);
  EXPECT_EQ(list.placeholder, L"(No online ASIO devices)");
  ASSERT_GE(rig.user.log.size(), 3u);
  EXPECT_EQ(std::vector<std::wstring>(rig.user.log.end() - 3, rig.user.log.end()),
            (std::vector<std::wstring>{L"No ASIO devices are online (hardware ready). Installed drivers did not open.",
                                       L"Saved ASIO device is not available; selection cleared.",
                                       L"Device list refreshed."}));
}

TEST(DeviceList, ADeviceOfTheProgramsOwnIsNoAnswerOfTheMachines) {
  EngineRig rig;
  DeviceList list;
  const auto firstLine = [&](const std::vector<std::wstring>& names, const wchar_t* missing) {
    AudioBackEnd backEnd = rig.device.backEnd(names, missing);
    backEnd.ownDevices = {L"Own"};
    rig.user.log.clear();
    RefreshDeviceList(rig.engine, backEnd, list, rig.user.ui());
    EXPECT_EQ(list.devices.back(), L"Own");
    return rig.user.log.front();
  };
  EXPECT_EQ(firstLine({L"Own"}, L""), L"No ASIO drivers detected.");
  EXPECT_EQ(firstLine({L"Off", L"Own"}, L"Off"),
            L"No ASIO devices are online (hardware ready). Installed drivers did not open.");
  EXPECT_EQ(firstLine({L"On", L"Own"}, L""), L"Device list refreshed.");
}

TEST(DeviceList, ARunningSessionIsNotProbed) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.device.calls.clear();
  DeviceList list;
  RefreshDeviceList(rig.engine, rig.device.backEnd(), list, rig.user.ui());
  EXPECT_TRUE(rig.device.calls.empty());
  EXPECT_EQ(list.devices, std::vector<std::wstring>{L"Fake"});
}

TEST(ControlPanel, LoadsTheDriverOnlyWithoutASession) {
  EngineRig rig;
  const HostUi ui = rig.user.ui();
  DeviceList list;
  std::wstring error;
  EXPECT_FALSE(OpenControlPanel(rig.engine, rig.device.backEnd(), list, nullptr, ui, &error, false));
  EXPECT_EQ(error, L"Select a valid ASIO device.");
  list.selected = L"Fake";
  EXPECT_FALSE(OpenControlPanel(rig.engine, rig.device.backEnd({L"Fake"}, L"Fake"), list, nullptr, ui, &error, false));
  EXPECT_EQ(error, L"ASIO loadDriver failed for control panel.");
  rig.device.results["ASIOInit"] = ASE_NotPresent;
  EXPECT_FALSE(OpenControlPanel(rig.engine, rig.device.backEnd(), list, nullptr, ui, &error, false));
  EXPECT_EQ(error, L"ASIOInit failed (control panel).");
  rig.device.results.clear();
  rig.device.calls.clear();
  EXPECT_TRUE(OpenControlPanel(rig.engine, rig.device.backEnd(), list, nullptr, ui, &error, false));
  EXPECT_EQ(rig.device.calls, (std::vector<std::string>{"loadAsioDriver", "ASIOInit", "ASIOControlPanel", "ASIOExit"}));
  ASSERT_TRUE(rig.startDevice());
  rig.device.calls.clear();
  EXPECT_TRUE(OpenControlPanel(rig.engine, rig.device.backEnd(), list, nullptr, ui, &error, false));
  EXPECT_EQ(rig.device.calls, std::vector<std::string>{"ASIOControlPanel"});
}

TEST(StopAsio, IsRefusedWhileSomethingUsesTheDevice) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.engine.hostRunning = true;
  rig.user.recording = true;
  rig.user.playing = true;
  std::wstring error;
  const auto refused = [&] { return !StopAsio(rig.engine, rig.user.ui(), &error, true); };
  EXPECT_TRUE(refused());
  EXPECT_EQ(error, L"Stop the instance host before stopping ASIO.");
  rig.engine.hostRunning = false;
  EXPECT_TRUE(refused());
  EXPECT_EQ(error, L"Stop Record before stopping ASIO.");
  rig.user.recording = false;
  EXPECT_TRUE(refused());
  EXPECT_EQ(rig.user.boxes.back(), L"ASIO: Stop Playback before stopping ASIO.");
  rig.user.playing = false;
  EXPECT_FALSE(refused());
}

}  // namespace
}  // namespace tarnwick::engine
