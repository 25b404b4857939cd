#include "engine/host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host_rig.h"

namespace tarnwick::engine {
namespace {

using tests::Eventually;
using tests::HostRig;
using tests::TestModule;

TEST(HostStart, ChecksInTheirOrder) {
  HostRig rig(0, 2);
  rig.host.pluginPath = L"/";  // a folder
  rig.engine.hostStopping = true;
  EXPECT_EQ(rig.start(), L"Stop is in progress. Please wait...");
  rig.engine.hostStopping = false;
  EXPECT_EQ(rig.start(), L"Press ASIO Start first, then start the instance host.");
  EXPECT_EQ(rig.user.boxes.back(), L"Tarnwick: Press ASIO Start first, then start the instance host.");
  EXPECT_EQ(rig.user.log.back(), L"Start request ignored: ASIO session is not running.");
  ASSERT_TRUE(rig.startDevice());
  EXPECT_EQ(rig.start(), L"Select a valid VST3 plugin file before starting.");
  rig.host.pluginPath = TestModule("no_classes");
  EXPECT_EQ(rig.start(), L"Add at least one VST instance.");
  rig.host.rows.resize(2);
  rig.host.rows[0].config = {0, 0};
  for (const auto& [input, output, missing] : {std::tuple(-1, -1, L"input and output channels"),
                                               {-1, 0, L"the input channel"},
                                               {0, -1, L"the output channel"}}) {
    rig.host.rows[1].config = {input, output};
    EXPECT_EQ(rig.start(), L"Set " + std::wstring(missing) + L" for instance #2.");
  }
  rig.host.rows[1].config = {0, 0};
  EXPECT_EQ(rig.start(), L"Failed to load the selected VST3 plugin file.");
  rig.host.pluginPath = TestModule("gain");
  tests::SetModuleWords("setup-fails");
  EXPECT_EQ(rig.start(), L"Failed to create VST3 instance #1.");
  tests::SetModuleWords("");
  EXPECT_TRUE(rig.host.module.instances.empty());
  EXPECT_FALSE(rig.host.module.loaded);
  EXPECT_FALSE(rig.engine.hostRunning);
  EXPECT_EQ(rig.engine.instances.count(), 0);
}

TEST(HostStart, RunsTheEffectWithTheRowsSettings) {
  HostRig rig(2, 2);
  ASSERT_TRUE(rig.startDevice());
  rig.host.rows[0].setsFirstParameter = true;
  rig.host.rows[0].firstParamPercent = 25;  // the test effect's gain
  rig.host.rows[0].config.outputGainDb = -99;
  rig.host.rows[1].config.inputGainDb = 99;
  EXPECT_EQ(rig.start(), L"");
  EXPECT_EQ(rig.start(), L"") << "starting what runs succeeds";
  rig.device.fillInput(0, 0.8f);
  rig.device.fillInput(1, 0.01f);
  const int32_t half = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(0, half)[5], 0.2f * 0.001f) << "-60 dB at least";
  EXPECT_FLOAT_EQ(rig.device.output(1, half)[5], 0.01f * 15.848932f * 0.5f) << "24 dB at most";

  EXPECT_TRUE(SetFirstParamPercent(rig.host, 0, 150));  // clamped to 100
  InstanceConfig config = rig.host.rows[1].config;
  config.bypassEnabled = 1;
  config.inputGainDb = config.outputGainDb = 6;
  EXPECT_TRUE(ConfigureInstance(rig.host, 1, config));
  const int32_t next = rig.device.runBlock();
  EXPECT_FLOAT_EQ(rig.device.output(0, next)[5], 0.8f * 0.001f);
  EXPECT_FLOAT_EQ(rig.device.output(1, next)[5], 0.01f * 3.9810717f) << "the gains stay with a bypass";
  EXPECT_FALSE(ConfigureInstance(rig.host, 2, config));
  EXPECT_EQ(rig.engine.instances.instance(0).output.data(), rig.host.module.instances[0]->outputBuffer.data())
      << "the effect's own buffer: nothing is copied";
  EXPECT_FALSE(SetFirstParamPercent(rig.host, -1, 50));
}

TEST(HostStart, AFailingEffectIsHeardDryWhateverItWroteIntoItsInput) {
  HostRig rig(1, 1);
  tests::SetModuleWords("process-fails scribbles");
  ASSERT_TRUE(rig.startDevice());
  rig.host.rows[0].config.inputGainDb = 6;
  ASSERT_EQ(rig.start(), L"");
  tests::SetModuleWords("");
  rig.device.fillInput(0, 0.25f);
  EXPECT_FLOAT_EQ(rig.device.output(0, rig.device.runBlock())[63], 0.25f * 1.9952623f);
}

TEST(HostStart, DropoutsCountAfterAFirstSecondAndTheMix) {
  HostRig rig(1, 1);
  bool filled = false;
  rig.engine.mixHook = [&](int32_t half, int32_t n) {
    std::transform(rig.device.output(0, half), rig.device.output(0, half) + n, rig.device.output(0, half),
                   [&](float sample) { return filled ? 0.125f : sample; });
  };
  rig.stopTheClock();
  ASSERT_TRUE(rig.startDevice());
  const auto countAfterGap = [&rig] {
    for (const float value : {0.5f, 0.0f, 0.5f}) {
      rig.device.fillInput(0, value);
      rig.device.runBlock();
    }
    return InstanceGlitchCount(rig.host, 0);
  };
  for (int start = 0; start < 2; ++start) {
    ASSERT_EQ(rig.start(), L"");
    rig.pass(std::chrono::milliseconds(999));
    EXPECT_EQ(countAfterGap(), 0u) << "settling";
    rig.pass(std::chrono::milliseconds(1));
    EXPECT_EQ(countAfterGap(), 1u);
    filled = true;
    EXPECT_EQ(countAfterGap(), 1u) << "the mix has filled the gap";
    filled = false;
    EXPECT_EQ(HostRunTime(rig.host), std::chrono::seconds(1));
    rig.stop();
  }
}

TEST(HostStart, ChannelsBeyondTheMetersAreHeard) {
  HostRig rig(1, 300);
  rig.host.rows[0].config = {299, 299};
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  rig.device.fillInput(299, 0.5f);
  EXPECT_EQ(rig.device.output(299, rig.device.runBlock())[0], 0.25f);
  EXPECT_NEAR(InstanceMeterDb(rig.host, 0), -6.02f, 0.01f);
  EXPECT_EQ(InstanceOutputDb(rig.host, 0), -100.0f);
}

TEST(HostPool, FollowsRowsAndProcessors) {
  HostRig rig(3, 4);
  rig.steering.processors = 0b1111;            // one each for the callback and everything else
  using Pool = std::pair<uint64_t, uint64_t>;  // instances, workers
  const auto pool = [&rig] {
    return rig.engine.pool ? Pool(rig.engine.pool->workerCount(), rig.engine.pool->threadCount()) : Pool();
  };
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  EXPECT_EQ(pool(), Pool(3, 2));
  std::wstring error;
  EXPECT_TRUE(AddInstance(rig.host, rig.host.rows[0], &error));
  EXPECT_EQ(pool(), Pool(4, 2));
  const auto before = rig.engine.pool;
  ReconfigurePool(rig.engine, true);
  EXPECT_EQ(rig.engine.pool, before) << "it fits";
  system::SetSteeringMask(rig.steering, system::SteeringGroup::engine, 0b11);
  RefitPool(rig.engine);
  EXPECT_EQ(pool(), Pool(4, 1));
  rig.engine.hostStopping = true;
  ReleasePool(rig.engine, TakePool(rig.engine));
  RefitPool(rig.engine);
  EXPECT_EQ(rig.engine.pool, nullptr) << "the stop has taken it out already";
  rig.engine.hostStopping = false;
  for (const Pool& left : {Pool(3, 1), Pool(2, 1), Pool()}) {
    EXPECT_TRUE(RemoveInstance(rig.host, 0, &error));
    EXPECT_EQ(pool(), left);
  }
}

TEST(HostPool, OutlivesTheBlockThatMayUseIt) {
  HostRig rig(3, 3);
  rig.steering.processors = 0b111;
  bool gone = false;
  // Another thread may take the pool out at any moment, so also at this.
  rig.engine.mixHook = [&](int32_t, int32_t) {
    ReleasePool(rig.engine, TakePool(rig.engine));
    gone = Eventually([&] { return rig.engine.pendingReleases == 0; }, std::chrono::milliseconds(200));
  };
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  const std::weak_ptr<RealtimeThreadPool> pool = rig.engine.pool;
  rig.device.runBlock();
  EXPECT_NE(rig.engine.blockOrder, nullptr) << "the pool was used";
  EXPECT_FALSE(gone) << "the block would free the pool";
  EXPECT_TRUE(Eventually([&] { return pool.expired(); }));
}

TEST(HostStop, IsAsynchronousAndLeavesNothing) {
  HostRig rig(2, 2);
  rig.steering.processors = 0b111;
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  const std::weak_ptr<RealtimeThreadPool> pool = rig.engine.pool;
  rig.device.runBlock();
  std::wstring error;
  EXPECT_FALSE(StopAsio(rig.engine, rig.user.ui(), &error, false));
  StopHostAsync(rig.host);
  StopHostAsync(rig.host);  // a second request while the first is under way
  EXPECT_EQ(rig.user.log.back(), L"Stopping host asynchronously...");
  EXPECT_EQ(rig.start(), L"Stop is in progress. Please wait...");
  EXPECT_FALSE(AddInstance(rig.host, rig.host.rows[0], &error));
  EXPECT_TRUE(Eventually([&] { return rig.user.stopsFinished == 1; }, std::chrono::seconds(30)));
  rig.host.closePending = true;
  CompleteHostStop(rig.host);
  EXPECT_EQ(rig.user.log.back(), L"Host stopped.");
  EXPECT_EQ(rig.user.windowsDestroyed, 1);
  EXPECT_FALSE(rig.host.module.loaded);
  EXPECT_EQ(rig.engine.counters.callbackCount, 0u);
  EXPECT_EQ(rig.engine.hostStartTimestamp, -1);
  EXPECT_GT(HostRunTime(rig.host).count(), 0.0);
  EXPECT_TRUE(Eventually([&] { return pool.expired(); })) << "workers that spin on";
  EXPECT_TRUE(StopAsio(rig.engine, rig.user.ui(), &error, false));

  StopHostAsync(rig.host);  // nothing runs: completed on the spot
  EXPECT_FALSE(rig.engine.hostStopping);
  EXPECT_EQ(rig.user.stopsFinished, 1);
}

TEST(HostInstances, ComeAndGoWhileItRuns) {
  HostRig rig(2, 4);
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
  HostRig rig(126, 2);
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

}  // namespace
}  // namespace tarnwick::engine
