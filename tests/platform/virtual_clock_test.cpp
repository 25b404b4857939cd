#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>

#include "platform/clock.h"
#include "platform/virtual/block_schedule.h"
#include "platform/virtual/signal_sources.h"
#include "platform/virtual/wav_reader.h"
#include "temporary_folder.h"
#include "virtual_host.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;

TEST(VirtualClockThread, AHeldClockWaitsForItsReleaseAndCanBeStopped) {
  for (const VirtualClock clock : {VirtualClock::fast, VirtualClock::real}) {
    VirtualOptions options = FastOptions(5);
    options.clock = clock;
    options.held = true;
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.run();
    std::this_thread::sleep_for(10ms);
    EXPECT_EQ(host.calls, 0);
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
    ASSERT_EQ(host->ASIOStart(), ASE_OK);
    device.release();
    EXPECT_TRUE(Eventually([&] { return device.limitReached(); }));
    EXPECT_EQ(device.blocks(), 5);
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
  }
}

TEST(VirtualClockThread, StoppingDoesNotWaitForALongBlock) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  ASSERT_EQ(host.init(100.0), ASE_OK);
  ASSERT_EQ(host.create(8192), ASE_OK);  // 82 seconds
  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  const int64_t before = CounterNow();
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_LT(CounterNow() - before, CounterFrequency());
}

TEST(VirtualClockThread, ARateChangeIsReportedBeforeItsBlockAndThePitchStays) {
  TemporaryFolder folder;
  for (const double rate : {96000.0, 0.0}) {  // the second is one that no device can run at
    VirtualOptions options = FastOptions(10);
    options.faults.rateChangeBlock = 4;
    options.faults.newRate = rate;
    options.sources = {VirtualSource::tone};
    options.captureFile = folder.wide("capture.wav");
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.newRate = -1.0;
    host.run();
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
    ASSERT_EQ(host->ASIOStop(), ASE_OK);
    EXPECT_EQ(host.rateChangedBefore, 4);
    EXPECT_EQ(host.newRate, rate);

    ASSERT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    WavSamples captured;
    ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
    SignalSources tone(1, options.sources, nullptr, 48000.0, 96000.0);
    float expected[kBlock];
    for (size_t block = 0; block < 10; ++block) {
      if (block == 4 && rate > 0.0) {
        tone.setRate(rate);
      }
      tone.render(0, expected, kBlock);
      EXPECT_EQ(std::memcmp(captured.channel(0) + block * kBlock, expected, sizeof(expected)), 0) << block;
    }
  }
}

TEST(VirtualClockThread, TheRealClockKeepsItsRateAndCatchesUpWithALateBlock) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  options.faults.lateBlock = 20;
  options.faults.lateMilliseconds = 30;
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  std::vector<int64_t> times;
  times.reserve(4096);
  host.onBlock = [&](int64_t) { times.push_back(CounterNow()); };
  const int64_t before = CounterNow();
  host.run();
  std::this_thread::sleep_for(300ms);
  ASSERT_EQ(host->ASIOStop(), ASE_OK);
  const double seconds = static_cast<double>(CounterNow() - before) / static_cast<double>(CounterFrequency());
  const double expected = seconds * 48000.0 / kBlock;
  ASSERT_GE(host.calls, 22);
  EXPECT_LE(static_cast<double>(host.calls), expected + 2.0);
  // Some block after the late one is where it would have been without it; a busy machine may delay the others.
  double closest = 1.0;
  for (size_t i = 21; i < times.size(); ++i) {
    const double passed = static_cast<double>(times[i] - times[0]) / static_cast<double>(CounterFrequency());
    closest = std::min(closest, passed - static_cast<double>(i) * kBlock / 48000.0);
  }
  EXPECT_LT(closest, 0.015);
  const std::vector<int64_t> lateness = device.lateness();
  ASSERT_EQ(static_cast<int64_t>(lateness.size()), host.calls);
  EXPECT_GE(lateness[20], CounterFrequency() * 30 / 1000);
  EXPECT_GE(*std::min_element(lateness.begin(), lateness.end()), 0);
}

TEST(VirtualClockThread, AStallIsSkippedNotCaughtUpWith) {
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  Host host(device);
  int64_t stalledAt = 0;
  host.onBlock = [&](int64_t block) {
    if (block == 5) {
      std::this_thread::sleep_for(400ms);  // 300 blocks
      stalledAt = CounterNow();
    }
  };
  host.run();
  ASSERT_TRUE(Eventually([&] { return host.calls >= 20; }));
  ASSERT_EQ(host->ASIOStop(), ASE_OK);
  const double seconds = static_cast<double>(CounterNow() - stalledAt) / static_cast<double>(CounterFrequency());
  EXPECT_LE(static_cast<double>(host.calls) - 6.0, seconds * 48000.0 / kBlock + 2.0);
}

TEST(BlockSchedule, DoesNotDriftInAYear) {
  for (const double rate : {8000.0, 44100.0, 48000.0, 47999.123, 192000.0}) {
    constexpr int64_t kFrequency = 1'000'000'000;
    BlockSchedule schedule(kFrequency, 64, rate, 12345);
    const auto blocks = static_cast<int64_t>(365.0 * 86400.0 * rate / 64.0);
    for (const int64_t block : {int64_t{0}, int64_t{1}, int64_t{7}, blocks, blocks + 1}) {
      const long double exact = 12345.0L + static_cast<long double>(block) * 64.0L * kFrequency /
                                               (std::round(static_cast<long double>(rate) * 1000.0L) / 1000.0L);
      EXPECT_NEAR(static_cast<double>(static_cast<long double>(schedule.due(block)) - exact), 0.0, 1.0) << rate;
    }
    const int64_t due = schedule.due(blocks);
    schedule.changeRate(blocks, 2.0 * rate);
    EXPECT_EQ(schedule.due(blocks), due);
    EXPECT_NEAR(static_cast<double>(schedule.due(blocks + 1000) - due), 64e9 * 1000 / (2.0 * rate), 1.0);
  }
}

}  // namespace
}  // namespace tarnwick::platform
