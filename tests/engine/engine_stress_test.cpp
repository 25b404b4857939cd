// Blocks run at full speed on a thread of their own while the user-interface side does what it may do at any time.
// The thread sanitizer build is where this test earns its keep.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "engine/pool_control.h"
#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;

std::wstring gainModule() {
  const std::string path = std::string(TARNWICK_TEST_MODULES) + "/gain.vst3";
  return {path.begin(), path.end()};
}

struct StressRig : EngineRig {
  Host host{engine, user.ui()};
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> blocks{0};
  std::thread driver;

  StressRig() {
    device.inputs = device.outputs = 8;
    device.results["ASIOOutputReady"] = platform::ASE_NotPresent;  // the fake's notes are for one thread
    host.pluginPath = gainModule();
    host.rows.resize(4);
    for (int32_t i = 0; i < 4; ++i) {
      host.rows[static_cast<size_t>(i)].config = {i, i};
    }
  }
  ~StressRig() { stopDriver(); }

  // The device's own thread: blocks as fast as they go, with a breath so that the machine's other threads run.
  void startDriver() {
    EXPECT_TRUE(startDevice());
    for (int32_t k = 0; k < 8; ++k) {
      device.fillInput(k, 0.5f);
    }
    stop = false;
    driver = std::thread([this] {
      while (!stop) {
        device.runBlock();
        if (blocks.fetch_add(1) % 16 == 0) {
          std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
      }
    });
  }
  void stopDriver() {
    if (driver.joinable()) {
      stop = true;
      driver.join();
    }
  }
  void awaitBlocks(uint64_t count) {
    const uint64_t target = blocks + count;
    while (blocks < target) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }
  void stopHost() {
    const int before = user.stopsFinished;
    StopHostAsync(host);
    while (user.stopsFinished == before) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    CompleteHostStop(host);
  }
  // As ReconfigurePool does on a machine with processors to spare.
  void swapPool(int32_t instances, uint64_t threads) {
    const PoolEnvironment environment{&engine.mmcssEnabled, &steering, nullptr, nullptr, &engine.enginePriority};
    ReleasePool(engine, TakePool(engine, std::make_shared<RealtimeThreadPool>(static_cast<uint64_t>(instances), threads,
                                                                              environment)));
  }
};

TEST(EngineStress, TwoHundredStartsAndStops) {
  StressRig rig;
  rig.startDriver();
  std::wstring error;
  for (int round = 0; round < 200; ++round) {
    ASSERT_TRUE(StartHost(rig.host, &error, false));
    if (round % 2 == 0) {
      rig.swapPool(4, 1);
    }
    rig.awaitBlocks(3);
    rig.stopHost();
    ASSERT_FALSE(rig.engine.hostRunning);
  }
  rig.stopDriver();
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
}

TEST(EngineStress, DeviceStopsUnderADriverThatGoesOnCalling) {
  for (int round = 0; round < 50; ++round) {
    StressRig rig;
    rig.device.freesBuffers = true;
    rig.startDriver();
    rig.awaitBlocks(2);
    ASSERT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
    const uint64_t counted = rig.engine.counters.callbackCount;
    rig.awaitBlocks(2);  // the driver's thread still calls; its buffers are gone
    EXPECT_EQ(rig.engine.counters.callbackCount, counted);
    rig.stopDriver();
  }
}

TEST(EngineStress, InstancesComeAndGoAndSettingsStreamWhileBlocksRun) {
  StressRig rig;
  rig.startDriver();
  std::wstring error;
  ASSERT_TRUE(StartHost(rig.host, &error, false));
  for (int round = 0; round < 300; ++round) {
    InstanceRow row;
    row.config = {round % 8, round % 8};
    ASSERT_TRUE(AddInstance(rig.host, row, &error));
    rig.swapPool(rig.engine.instances.count(), 1);
    for (int32_t patch = 0; patch < 20; ++patch) {
      InstanceConfig config = rig.host.rows[0].config;
      config.inputGainDb = patch - 10;
      config.bypassEnabled = static_cast<uint8_t>(patch % 2);
      config.testSignalEnabled = static_cast<uint8_t>(patch % 3 == 0);
      ASSERT_TRUE(ConfigureInstance(rig.host, patch % 4, config));
      SetFirstParamPercent(rig.host, patch % 4, patch * 5);
      const float level = InstanceMeterDb(rig.host, patch % 4);
      ASSERT_TRUE(std::isfinite(level));
    }
    rig.engine.testSignalAll = round % 2 == 0;
    ASSERT_TRUE(RemoveInstance(rig.host, round % 5, &error));
    if (round % 50 == 0) {
      rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, round % 100 == 0 ? 44100.0 : 48000.0);
    }
  }
  EXPECT_EQ(rig.engine.instances.count(), 4);
  rig.stopHost();
  rig.stopDriver();
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
  EXPECT_EQ(rig.engine.counters.refusedBlocks, 0u);
}

TEST(EngineStress, AWorkerForEachInstanceWhilePoolsAreSwapped) {
  StressRig rig;
  rig.host.rows.resize(2);
  rig.startDriver();
  std::wstring error;
  ASSERT_TRUE(StartHost(rig.host, &error, false));
  for (int round = 0; round < 20; ++round) {
    rig.swapPool(2, 2);
    rig.awaitBlocks(3);
  }
  rig.stopHost();
  rig.stopDriver();
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
}

}  // namespace
}  // namespace tarnwick::engine
