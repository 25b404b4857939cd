#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>

#include "platform/clock.h"
#include "platform/temporary_folder.h"
#include "sound/virtual/block_schedule.h"
#include "sound/wav_reader.h"
#include "virtual_host.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

using namespace std::chrono_literals;

TEST(VirtualDriver, OneOfTwoDriversHasTheDevice) {
  VirtualRig rig(FastOptions(-1));
  DeviceHost& host = rig.host;
  host.run(kBlock);
  {
    DeviceHost second([&rig](const BackEndHooks&) { return rig.device.backEnd(); }, kVirtualDriverName);
    EXPECT_EQ(second->ASIOInit({.sampleRate = 44100.0}), ASE_OK);
    EXPECT_EQ(second.create(kBlock), ASE_InvalidMode);
    EXPECT_EQ(second->ASIOStop(), ASE_OK);
    EXPECT_EQ(second->ASIOExit(), ASE_OK);
  }
  ASSERT_TRUE(host.awaitBlocks(10)) << "left alone by the second driver";
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  const int64_t blocks = host.blocks;
  std::this_thread::sleep_for(5ms);
  EXPECT_EQ(host.blocks, blocks);
  EXPECT_EQ(rig.device.blocks(), blocks);
  EXPECT_EQ(host.wrongHalves, 0);
  EXPECT_EQ(host->ASIOExit(), ASE_OK);
  host.run(128);
  EXPECT_TRUE(host.awaitBlocks()) << "with the next buffers";
}

TEST(VirtualDriver, ADriverThatOutlivesItsDeviceFindsItGone) {
  const TemporaryFolder folder;
  VirtualOptions options = FastOptions(-1);
  options.captureFile = folder.wide("capture.wav");
  auto device = std::make_unique<VirtualDevice>(options);
  ASSERT_TRUE(device->prepare(nullptr));
  DeviceHost host([&device](const BackEndHooks&) { return device->backEnd(); }, kVirtualDriverName);
  host.run(kBlock);
  ASSERT_TRUE(host.awaitBlocks());
  device.reset();
  const int64_t blocks = host.blocks;
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  EXPECT_EQ(static_cast<int64_t>(captured.frames), blocks * kBlock);
  EXPECT_EQ(host->ASIOStart(), ASE_NotPresent);
  host.close();
  EXPECT_EQ(host->ASIOInit({.sampleRate = 48000.0}), ASE_NotPresent);
  EXPECT_EQ(host.blocks, blocks);
}

TEST(VirtualDriver, AStartBeginsWithSilentBuffers) {
  VirtualRig rig(FastOptions(2));
  std::atomic<int64_t> sounding{0};
  rig.host.onBlock = [&](int32_t half, int64_t) {
    float* samples = rig.host.output(0, half);
    sounding += std::count_if(samples, samples + kBlock, [](float sample) { return sample != 0.0f; });
    std::fill_n(samples, kBlock, 1.0f);
  };
  rig.host.run(kBlock);
  ASSERT_TRUE(rig.reachesLimit());
  ASSERT_EQ(rig.host->ASIOStop(), ASE_OK);
  ASSERT_EQ(rig.host->ASIOStart(), ASE_OK);
  ASSERT_TRUE(rig.reachesLimit());
  EXPECT_EQ(sounding, 0);
}

double secondsSince(int64_t tick) {
  return static_cast<double>(CounterNow() - tick) / static_cast<double>(CounterFrequency());
}

TEST(VirtualClockThread, AHeldClockWaitsForItsReleaseAndCanBeStopped) {
  for (const VirtualClock clock : {VirtualClock::fast, VirtualClock::real}) {
    VirtualOptions options = FastOptions(5);
    options.clock = clock;
    options.held = true;
    VirtualRig rig(options);
    rig.host.run(kBlock);
    std::this_thread::sleep_for(10ms);
    EXPECT_EQ(rig.host.blocks, 0);
    EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
    ASSERT_EQ(rig.host->ASIOStart(), ASE_OK);
    rig.device.release();
    EXPECT_TRUE(rig.reachesLimit());
  }
}

TEST(VirtualClockThread, StoppingDoesNotWaitForALongBlock) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  VirtualRig rig(options);
  rig.host.run(8192, 100.0);  // 82 seconds
  ASSERT_TRUE(tests::Eventually([&] { return rig.host.blocks == 1; }));
  const int64_t before = CounterNow();
  EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
  EXPECT_LT(secondsSince(before), 1.0);
}

TEST(VirtualClockThread, TheRealClockKeepsItsRateAndCatchesUpWithALateBlock) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  VirtualRig rig(options);
  rig.host.onBlock = [](int32_t, int64_t block) { std::this_thread::sleep_for(block == 20 ? 30ms : 0ms); };
  // A machine that is busy for a tenth of a second makes a stall of it, which is skipped.
  const bool caughtUp = tests::Eventually([&] {
    const int64_t before = CounterNow();
    rig.host.run(kBlock);
    EXPECT_TRUE(rig.host.awaitBlocks(100));
    EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
    EXPECT_LE(static_cast<double>(rig.host.blocks), secondsSince(before) * 48000.0 / kBlock + 2.0);
    const std::vector<int64_t> lateness = rig.device.lateness();
    EXPECT_EQ(static_cast<int64_t>(lateness.size()), rig.host.blocks);
    EXPECT_GE(*std::min_element(lateness.begin(), lateness.end()), 0);
    rig.host.close();
    const int64_t tick = CounterFrequency() / 1000;
    return lateness[21] >= 25 * tick && *std::min_element(lateness.begin() + 21, lateness.end()) < 15 * tick;
  });
  EXPECT_TRUE(caughtUp);
}

TEST(VirtualClockThread, AStallIsSkippedNotCaughtUpWith) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  VirtualRig rig(options);
  int64_t stalledAt = 0;
  rig.host.onBlock = [&](int32_t, int64_t block) {
    if (block == 5) {
      std::this_thread::sleep_for(400ms);  // 300 blocks
      stalledAt = CounterNow();
    }
  };
  rig.host.run(kBlock);
  ASSERT_TRUE(rig.host.awaitBlocks(20));
  ASSERT_EQ(rig.host->ASIOStop(), ASE_OK);
  EXPECT_LE(static_cast<double>(rig.host.blocks) - 6.0, secondsSince(stalledAt) * 48000.0 / kBlock + 2.0);
}

TEST(BlockSchedule, DoesNotDriftInAYear) {
  for (const double rate : {8000.0, 44100.0, 47999.123, 192000.0}) {
    constexpr int64_t kFrequency = 1'000'000'000;
    const BlockSchedule schedule(kFrequency, 64, rate, 12345);
    const auto blocks = static_cast<int64_t>(365.0 * 86400.0 * rate / 64.0);
    for (const int64_t block : {int64_t{0}, int64_t{7}, blocks}) {
      const long double exact = 12345.0L + static_cast<long double>(block) * 64.0L * kFrequency /
                                               (std::round(static_cast<long double>(rate) * 1000.0L) / 1000.0L);
      EXPECT_NEAR(static_cast<double>(static_cast<long double>(schedule.due(block)) - exact), 0.0, 1.0) << rate;
    }
  }
}

}  // namespace
}  // namespace tarnwick::sound
