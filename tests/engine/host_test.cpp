#include "engine/host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;

std::wstring moduleFile(const std::string& name) {
  const std::string path = std::string(TARNWICK_TEST_MODULES) + "/" + name + ".vst3";
  return {path.begin(), path.end()};
}

struct HostRig : EngineRig {
  Host host{engine, user.ui()};

  HostRig() {
    host.pluginPath = L"  " + moduleFile("gain") + L" \n";
    host.rows.resize(2);
    for (int32_t i = 0; i < 2; ++i) {
      host.rows[static_cast<size_t>(i)].config.inputChannel = i;
      host.rows[static_cast<size_t>(i)].config.outputChannel = i;
    }
  }
  ~HostRig() { stop(); }

  // The text of a refusal, "" when the host started.
  std::wstring start() {
    std::wstring error;
    return StartHost(host, &error, true) ? L"" : error;
  }
  void stop() {
    if (engine.hostRunning && !engine.hostStopping) {
      const int before = user.stopsFinished;
      StopHostAsync(host);
      for (int tries = 0; tries < 5000 && user.stopsFinished == before; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      CompleteHostStop(host);
    }
  }
  bool logged(const std::wstring& line) { return std::find(user.log.begin(), user.log.end(), line) != user.log.end(); }
};

TEST(HostStart, ChecksInTheirOrder) {
  HostRig rig;
  rig.host.rows.clear();
  rig.host.pluginPath = L"/nowhere/effect.vst3";
  rig.engine.hostStopping = true;
  EXPECT_EQ(rig.start(), L"Stop is in progress. Please wait...");
  EXPECT_EQ(rig.user.log.back(), L"Stop is in progress. Please wait...");
  rig.engine.hostStopping = false;
  EXPECT_EQ(rig.start(), L"Press ASIO Start first, then start the instance host.");
  EXPECT_EQ(rig.user.boxes.back(), L"Tarnwick: Press ASIO Start first, then start the instance host.");
  EXPECT_EQ(rig.user.log.back(), L"Start request ignored: ASIO session is not running.");
  ASSERT_TRUE(rig.startDevice());
  EXPECT_EQ(rig.start(), L"Select a valid VST3 plugin file before starting.");
  rig.host.pluginPath = L"/";  // a folder
  EXPECT_EQ(rig.start(), L"Select a valid VST3 plugin file before starting.");
  rig.host.pluginPath = moduleFile("no_classes");
  EXPECT_EQ(rig.start(), L"Add at least one VST instance.");
  rig.host.rows.resize(3);
  rig.host.rows[0].config = {0, 0};
  const struct {
    InstanceConfig config;
    const wchar_t* text;
  } missing[] = {{{-1, -1}, L"Set input and output channels for instance #2."},
                 {{-1, 0}, L"Set the input channel for instance #2."},
                 {{0, -1}, L"Set the output channel for instance #2."}};
  for (const auto& c : missing) {
    rig.host.rows[1].config = c.config;
    EXPECT_EQ(rig.start(), c.text);
  }
  rig.host.rows[1].config = rig.host.rows[2].config = {0, 0};
  EXPECT_EQ(rig.start(), L"Failed to load the selected VST3 plugin file.");
  rig.host.pluginPath = moduleFile("setup_fails");
  EXPECT_EQ(rig.start(), L"Failed to create VST3 instance #1.");
  EXPECT_TRUE(rig.host.module.instances.empty());
  EXPECT_FALSE(rig.host.module.loaded);
  EXPECT_FALSE(rig.engine.hostRunning);
  EXPECT_EQ(rig.engine.instances.count(), 0);
}

TEST(HostStart, RunsTheEffectWithTheRowsSettings) {
  HostRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.host.rows[0].setsFirstParameter = true;
  rig.host.rows[0].firstParamPercent = 25;  // the test effect's gain
  rig.host.rows[1].config.inputGainDb = 99;
  EXPECT_EQ(rig.start(), L"");
  EXPECT_EQ(rig.start(), L"") << "starting what runs succeeds";
  EXPECT_EQ(HostTitle(rig.host), L"Tarnwick - Running");
  EXPECT_TRUE(rig.logged(L"Host running."));
  EXPECT_EQ(rig.host.rows[1].config.inputGainDb, 24);
  rig.device.fillInput(0, 0.8f);
  rig.device.fillInput(1, 0.01f);
  const int32_t half = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(0, half)[5], 0.2f);
  EXPECT_FLOAT_EQ(rig.device.output(1, half)[5], 0.01f * 15.848932f * 0.5f);

  EXPECT_TRUE(SetFirstParamPercent(rig.host, 0, 150));  // clamped to 100
  InstanceConfig config = rig.host.rows[1].config;
  config.bypassEnabled = 1;
  config.inputGainDb = 0;
  EXPECT_TRUE(ConfigureInstance(rig.host, 1, config));
  const int32_t next = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(0, next)[5], 0.8f);
  EXPECT_FLOAT_EQ(rig.device.output(1, next)[5], 0.01f);
  EXPECT_FALSE(ConfigureInstance(rig.host, 2, config));
  EXPECT_FALSE(SetFirstParamPercent(rig.host, -1, 50));
}

TEST(HostStop, IsAsynchronousAndLeavesNothing) {
  HostRig rig;
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  rig.device.runBlock();
  std::wstring error;
  EXPECT_FALSE(StopAsio(rig.engine, rig.user.ui(), &error, false));
  StopHostAsync(rig.host);
  StopHostAsync(rig.host);  // a second request while the first is under way
  EXPECT_EQ(rig.user.log.back(), L"Stopping host asynchronously...");
  EXPECT_EQ(rig.start(), L"Stop is in progress. Please wait...");
  EXPECT_FALSE(AddInstance(rig.host, rig.host.rows[0], &error));
  for (int tries = 0; tries < 5000 && rig.user.stopsFinished == 0; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(rig.user.stopsFinished, 1);
  rig.host.closePending = true;
  CompleteHostStop(rig.host);
  EXPECT_EQ(rig.user.log.back(), L"Host stopped.");
  EXPECT_EQ(rig.user.windowsDestroyed, 1);
  EXPECT_EQ(HostTitle(rig.host), L"Tarnwick - Stopped");
  EXPECT_FALSE(rig.host.module.loaded);
  EXPECT_EQ(rig.engine.counters.callbackCount, 0u);
  EXPECT_EQ(rig.engine.hostStartTimestamp, -1);
  EXPECT_GT(rig.host.lastRunSeconds, 0.0);
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), &error, false));

  StopHostAsync(rig.host);  // nothing runs: completed on the spot
  EXPECT_FALSE(rig.engine.hostStopping);
  EXPECT_EQ(rig.user.stopsFinished, 1);
}

TEST(HostInstances, ComeAndGoWhileItRuns) {
  HostRig rig;
  rig.device.inputs = rig.device.outputs = 4;
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  InstanceRow row;
  row.config = {2, 2};
  std::wstring error;
  EXPECT_TRUE(AddInstance(rig.host, row, &error));
  for (int32_t k = 0; k < 4; ++k) {
    rig.device.fillInput(k, 0.2f * static_cast<float>(k + 1));
  }
  int32_t half = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(2, half)[0], 0.3f);
  EXPECT_TRUE(RemoveInstance(rig.host, 1, &error));
  half = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(0, half)[0], 0.1f);
  EXPECT_EQ(rig.device.output(1, half)[0], 0.0f);
  EXPECT_FLOAT_EQ(rig.device.output(2, half)[0], 0.3f) << "the one behind moves up";
  EXPECT_EQ(rig.host.module.instances.size(), 2u);
  EXPECT_NEAR(InstanceMeterDb(rig.host, 1), 20.0f * std::log10(0.6f), 0.01f);
  EXPECT_EQ(InstanceMeterDb(rig.host, 2), -100.0f);
  EXPECT_FALSE(RemoveInstance(rig.host, 2, &error));
  EXPECT_TRUE(RemoveInstance(rig.host, 0, &error));
  EXPECT_TRUE(RemoveInstance(rig.host, 0, &error));
  half = rig.device.runBlock();
  EXPECT_EQ(rig.device.output(2, half)[0], 0.0f);
  EXPECT_TRUE(AddInstance(rig.host, row, &error)) << "the running host takes instances again";
  half = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(2, half)[0], 0.3f);
}

TEST(HostInstances, AreAtMost127) {
  HostRig rig;
  rig.host.rows.resize(126);
  std::wstring error;
  EXPECT_TRUE(AddInstance(rig.host, {}, &error));
  EXPECT_FALSE(AddInstance(rig.host, {}, &error));
  EXPECT_FALSE(error.empty());
  for (InstanceRow& row : rig.host.rows) {
    row.config = {0, 1};
  }
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  rig.device.fillInput(0, 0.002f);
  EXPECT_NEAR(rig.device.output(1, rig.device.runBlock())[0], 127 * 0.001f, 1e-5f);
}

TEST(HostTexts, CaptionAndButton) {
  EXPECT_EQ(InstanceCaption(0), L"0 instances");
  EXPECT_EQ(InstanceCaption(1), L"1 instance");
  EXPECT_EQ(InstanceCaption(127), L"127 instances");
  EngineRig rig;
  EXPECT_EQ(DeviceButtonText(rig.engine), L"ASIO Start");
  ASSERT_TRUE(rig.startDevice());
  EXPECT_EQ(DeviceButtonText(rig.engine), L"ASIO Stop");
}

}  // namespace
}  // namespace tarnwick::engine
