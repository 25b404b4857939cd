// Blocks run at full speed on a thread of their own while the user-interface side does what it may do at any time.
// The thread sanitizer build is where this test earns its keep.
#include <cmath>
#include <optional>

#include "host_rig.h"

namespace tarnwick::engine {
namespace {

using tests::DriverThread;
using tests::HostRig;

struct StressRig : HostRig {
  std::optional<DriverThread> driver;

  StressRig() : HostRig(4, 8) {
    device.results["ASIOOutputReady"] = platform::ASE_NotPresent;  // the fake's notes are for one thread
    steering.processors = 0b111;                                   // one worker
    EXPECT_TRUE(startDevice());
    for (int32_t k = 0; k < 8; ++k) {
      device.fillInput(k, 0.5f);
    }
    driver.emplace(device);
  }
  ~StressRig() {
    stop();
    driver.reset();
  }
};

TEST(EngineStress, DeviceStopsUnderADriverThatGoesOnCalling) {
  for (int round = 0; round < 50; ++round) {
    StressRig rig;
    rig.device.freesBuffers = true;
    rig.driver->awaitBlocks(2);
    ASSERT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
    const uint64_t counted = rig.engine.counters.callbackCount;
    rig.driver->awaitBlocks(2);  // the driver's thread still calls; its buffers are gone
    EXPECT_EQ(rig.engine.counters.callbackCount, counted);
  }
}

TEST(EngineStress, HostAndInstancesComeAndGoAndSettingsStreamWhileBlocksRun) {
  StressRig rig;
  std::wstring error;
  for (int round = 0; round < 200; ++round) {
    ASSERT_EQ(rig.start(), L"");
    InstanceRow row;
    row.config = {round % 8, round % 8};
    ASSERT_TRUE(AddInstance(rig.host, row, &error));
    for (int32_t patch = 0; patch < 20; ++patch) {
      InstanceConfig config = rig.host.rows[0].config;
      config.inputGainDb = patch - 10;
      config.bypassEnabled = static_cast<uint8_t>(patch % 2);
      config.testSignalEnabled = static_cast<uint8_t>(patch % 3 == 0);
      ASSERT_TRUE(ConfigureInstance(rig.host, patch % 4, config));
      SetFirstParamPercent(rig.host, patch % 4, patch * 5);
      ASSERT_TRUE(std::isfinite(InstanceMeterDb(rig.host, patch % 4)));
    }
    rig.engine.testSignalAll = round % 2 == 0;
    ASSERT_TRUE(RemoveInstance(rig.host, round % 5, &error));
    if (round % 50 == 0) {
      rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, round % 100 == 0 ? 44100.0 : 48000.0);
    }
    if (round % 4 == 0) {
      rig.driver->awaitBlocks(3);
      rig.stop();
      ASSERT_FALSE(rig.engine.hostRunning);
    }
  }
  EXPECT_EQ(rig.engine.instances.count(), 4);
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
  EXPECT_EQ(rig.engine.counters.refusedBlocks, 0u);
}

}  // namespace
}  // namespace tarnwick::engine
