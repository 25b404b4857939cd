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
    int32_t requested, minimum, maximum, chosen;
  } cases[] = {{0, 16, 1024, 256},
               {-5, 16, 1024, 256},
               {8, 16, 1024, 16},
               {4096, 16, 1024, 1024},
               {100, 16, 1024, 100} /* the granularity is not applied */};
  for (const auto& c : cases) {
    EXPECT_EQ(ChooseBlockLength(c.requested, c.minimum, c.maximum, 256), c.chosen);
  }
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
  const char* const names[] = {"In 0", "In 1", "Out 0", "Out 1"};
  for (size_t k = 0; k < 4; ++k) {
    const AudioBufferInfo& info = rig.engine.session.bufferInfos[k];
    EXPECT_EQ((info.isInput ? "In " : "Out ") + std::to_string(info.channelNum), names[k]);
    EXPECT_EQ(rig.engine.session.channelInfos[k].name, std::string(names[k]));
  }

  rig.device.calls.clear();
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
  EXPECT_EQ(rig.device.calls, (std::vector<std::string>{"ASIOStop", "ASIODisposeBuffers", "ASIOExit"}));
  EXPECT_EQ(rig.device.loaded, 0);
  EXPECT_EQ(rig.engine.session.blockLength, 0);
  EXPECT_EQ(rig.engine.session.sampleRate, 48000.0);
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false)) << "stopping what is stopped succeeds";
}

TEST(DeviceSession, OutputsAreAnnouncedToADriverThatWantsIt) {
  for (const bool wanted : {true, false}) {
    EngineRig rig;
    rig.device.results["ASIOOutputReady"] = wanted ? ASE_OK : ASE_NotPresent;
    ASSERT_TRUE(rig.startDevice());
    rig.device.calls.clear();
    rig.device.runBlock();
    EXPECT_EQ(rig.device.calls, std::vector<std::string>(wanted ? 1 : 0, "ASIOOutputReady"));
  }
}

TEST(DeviceSession, RatesEndWhereTheMetersDo) {
  EngineRig rig;
  std::wstring error;
  EXPECT_FALSE(rig.startDevice(64, 384001.0, &error));
  EXPECT_EQ(error, L"The sample rate is too high: 384000 Hz is the highest. Choose a lower one.");
  EXPECT_TRUE(rig.device.calls.empty());
  ASSERT_TRUE(rig.startDevice(64, 384000.0));
  rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, 1e9);
  rig.engine.meteringEnabled = true;
  rig.device.fillInput(0, 0.5f);
  for (int block = 0; block < 1300; ++block) {
    rig.device.runBlock();
  }
  EXPECT_NEAR(RingLevelDb(rig.engine.inputMeters.ring(0)), -6.02f, 0.01f);
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
  EngineRig rig;
  std::wstring error;
  EXPECT_FALSE(StartAsio(rig.engine, rig.device.backEnd(), {}, rig.user.ui(), &error, true));
  EXPECT_EQ(rig.user.boxes.back(), L"Tarnwick: Select an ASIO device.");
  EXPECT_FALSE(
      StartAsio(rig.engine, rig.device.backEnd({}, L"Gone"), {.deviceName = L"Gone"}, rig.user.ui(), &error, false));
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
               {2, 2, 1 << 30, INT32_MAX, L"ASIOGetBufferSize failed."},
               {0, 2, 16, 512, L""}};
  for (const auto& c : cases) {
    EngineRig rig;
    rig.device.inputs = c.inputs;
    rig.device.outputs = c.outputs;
    rig.device.minimum = c.minimum;
    rig.device.maximum = c.maximum;
    std::wstring error;
    EXPECT_EQ(rig.startDevice(64, 48000.0, &error), *c.text == L'\0');
    EXPECT_EQ(error, c.text);
  }
}

TEST(DeviceSession, TakesWhatTheDriverReports) {
  EngineRig rig;
  int posted = 0;
  rig.engine.postLatenciesChanged = [&posted] { posted += 1; };
  EXPECT_EQ(LatencyText(rig.engine.session), L"Input Latency : -, Output Latency : -");
  ASSERT_TRUE(rig.startDevice(64, 0.5));
  EXPECT_EQ(LatencyText(rig.engine.session),
            L"Input Latency : 64 samples (1.33 ms), Output Latency : 96 samples (2.00 ms)");
  const AudioCallbacks& callbacks = rig.device.callbacks;
  callbacks.sampleRateDidChange(callbacks.context, 96000.0);
  callbacks.sampleRateDidChange(callbacks.context, 0.0);
  rig.device.inputLatency = -1;
  EXPECT_EQ(LatencyText(rig.engine.session), L"Input Latency : -, Output Latency : 96 samples (1.00 ms)");
  const int32_t answers[][2] = {{1, 1}, {2, 2}, {3, 1}, {4, 0}, {5, 1}, {6, 1}, {7, 0}, {-1, 0}};
  for (const auto& [selector, answer] : answers) {
    EXPECT_EQ(callbacks.asioMessage(callbacks.context, selector, 0), answer) << selector;
  }
  EXPECT_EQ(posted, 1);
}

TEST(DeviceList, KeepsWhatAnswers) {
  const wchar_t* const kRefreshed = L"Device list refreshed.";
  const wchar_t* const kOffline = L"No ASIO devices are online (hardware ready). Installed drivers did not open.";
  const wchar_t* const kNone = L"No ASIO drivers detected.";
  const wchar_t* const kCleared = L"Saved ASIO device is not available; selection cleared.";
  const struct {
    std::vector<std::wstring> names;  // "Broken" does not answer; "Own" is the program's own, no answer of the machine
    std::vector<std::wstring> devices;
    std::wstring placeholder;
    std::wstring selected;  // of "fake b"
    std::vector<std::wstring> log;
  } cases[] = {
      {{L"Fake A", L"Fake B", L"Broken"}, {L"Fake A", L"Fake B"}, L"", L"Fake B", {kRefreshed}},
      {{L"Fake A", L"Own"}, {L"Fake A", L"Own"}, L"", L"", {kCleared, kRefreshed}},
      {{}, {}, L"(No ASIO drivers found)", L"", {kNone}},
      {{L"Broken"}, {}, L"(No online ASIO devices)", L"", {kOffline, kCleared, kRefreshed}},
      {{L"Own"}, {L"Own"}, L"", L"", {kNone, kCleared, kRefreshed}},
      {{L"Broken", L"Own"}, {L"Own"}, L"", L"", {kOffline, kCleared, kRefreshed}},
  };
  for (const auto& c : cases) {
    EngineRig rig;
    DeviceList list;
    list.selected = L"fake b";
    AudioBackEnd backEnd = rig.device.backEnd(c.names, L"Broken");
    backEnd.ownDevices = {L"Own"};
    RefreshDeviceList(rig.engine, backEnd, list, 96000.0, rig.user.ui());
    EXPECT_EQ(rig.device.init.sampleRate, c.devices.empty() ? 48000.0 : 96000.0) << "probed at another rate";
    EXPECT_EQ(list.devices, c.devices);
    EXPECT_EQ(list.placeholder, c.placeholder);
    EXPECT_EQ(list.selected, c.selected);
    EXPECT_EQ(rig.user.log, c.log);
    EXPECT_EQ(rig.device.loaded, 0);
  }
}

TEST(DeviceList, ARunningSessionIsNotProbed) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.device.calls.clear();
  DeviceList list;
  RefreshDeviceList(rig.engine, rig.device.backEnd(), list, 48000.0, rig.user.ui());
  EXPECT_TRUE(rig.device.calls.empty());
  EXPECT_EQ(list.devices, std::vector<std::wstring>{L"Fake"});
}

TEST(ControlPanel, LoadsTheDriverOnlyWithoutASession) {
  EngineRig rig;
  DeviceList list;
  std::wstring error;
  const auto open = [&] {
    rig.device.calls.clear();
    return OpenControlPanel(rig.engine, rig.device.backEnd({}, L"Gone"), list, nullptr, rig.user.ui(), &error, false);
  };
  EXPECT_FALSE(open());
  EXPECT_EQ(error, L"Select a valid ASIO device.");
  list.selected = L"Gone";
  EXPECT_FALSE(open());
  EXPECT_EQ(error, L"ASIO loadDriver failed for control panel.");
  list.selected = L"Fake";
  rig.device.results["ASIOInit"] = ASE_NotPresent;
  EXPECT_FALSE(open());
  EXPECT_EQ(error, L"ASIOInit failed (control panel).");
  rig.device.results.clear();
  EXPECT_TRUE(open());
  EXPECT_EQ(rig.device.calls, (std::vector<std::string>{"loadAsioDriver", "ASIOInit", "ASIOControlPanel", "ASIOExit"}));
  ASSERT_TRUE(rig.startDevice());
  EXPECT_TRUE(open());
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
