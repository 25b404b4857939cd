#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <numbers>
#include <numeric>
#include <thread>

#include "platform/audio/device_host.h"
#include "platform/clock.h"
#include "platform/temporary_folder.h"
#include "sound/virtual/block_schedule.h"
#include "sound/virtual/signal_sources.h"
#include "sound/virtual/virtual_driver.h"
#include "sound/wav_reader.h"

namespace tarnwick::sound {
namespace {

using namespace platform;
using namespace std::chrono_literals;

constexpr int32_t kBlock = 64;

VirtualOptions optionsOf(int64_t blocks, VirtualClock clock = VirtualClock::fast) {
  VirtualOptions options;
  options.inputs = 4;
  options.outputs = 4;
  options.clock = clock;
  options.blockLimit = blocks;
  return options;
}

struct VirtualRig {
  VirtualDevice device;
  DeviceHost host{[this](const BackEndHooks&) { return device.backEnd(); }, kVirtualDriverName};

  explicit VirtualRig(const VirtualOptions& options) : device(options) { EXPECT_TRUE(device.prepare(nullptr)); }
  bool reachesLimit() const {
    return tests::Eventually([this] { return device.limitReached(); });
  }
};

TEST(SignalSources, SoundAsTheirNamesSayAtEveryRate) {
  for (const double rate : {32000.0, 96000.0}) {
    SCOPED_TRACE(rate);
    SignalSources sources(4, nullptr, rate);
    const auto render = [&](int32_t input) {
      std::vector<float> sound(static_cast<size_t>(8.0 * rate));
      sources.render(input, sound.data(), static_cast<int32_t>(sound.size()));
      return sound;
    };
    const double step = 2.0 * std::numbers::pi * 110.0 * std::exp2(1.0 / 12.0) / rate;
    for (double phase = 0.0; const float sample : render(1)) {
      ASSERT_NEAR(sample, std::pow(10.0, -18.0 / 20.0) * std::sin(phase), 1e-5);
      phase += step;
    }
    for (const auto& [input, level] : {std::pair(0, -29.4), {1, -21.0}, {2, -21.0}, {3, -300.0}}) {
      const std::vector<float> sound = render(input);
      const double sum = std::inner_product(sound.begin(), sound.end(), sound.begin(), 0.0);
      EXPECT_NEAR(10.0 * std::log10(sum / (8.0 * rate) + 1e-30), level, 1.0) << input;
    }
  }
}

TEST(SignalSources, InputsHearTheChannelsOfAFileInALoop) {
  WavSamples file;
  file.channels = 3;
  file.frames = 150;  // no multiple of the block
  file.samples.resize(3 * file.frames);
  std::iota(file.samples.begin(), file.samples.end(), 0.0f);
  SignalSources sources(4, &file, 48000.0);
  float sound[kBlock];
  for (size_t at = 0; at < 4 * 8 * kBlock; ++at) {
    const auto input = static_cast<int32_t>(at / kBlock % 4);
    if (at % kBlock == 0) {
      sources.render(input, sound, kBlock);
    }
    const size_t frame = at / (4 * kBlock) * kBlock + at % kBlock;
    ASSERT_EQ(sound[at % kBlock], file.channel(input % 3)[frame % file.frames]) << at;
  }
}

// Runs at the file's rate follow one another in it, whole; one at another rate is left out. Each sounds the same.
TEST(VirtualCapture, RunsRepeatBitForBitInOneFile) {
  const TemporaryFolder folder;
  constexpr int64_t kBlocks = 1000;
  VirtualOptions options = optionsOf(kBlocks);
  options.captureFile = folder.wide("capture.wav");
  {
    VirtualRig rig(options);
    for (const double rate : {48000.0, 44100.0, 48000.0}) {
      rig.host.run(kBlock, rate);
      ASSERT_TRUE(rig.reachesLimit());
      rig.host.close();
    }
    EXPECT_EQ(rig.device.captureFramesLost(), kBlocks * kBlock);
    EXPECT_NE(rig.device.captureError().find(L"begun at 48000 Hz"), std::wstring::npos) << rig.device.captureError();
  }
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  ASSERT_EQ(captured.frames, 2u * kBlocks * kBlock);
  SignalSources sources(4, nullptr, 48000.0);
  for (int32_t c = 0; c < captured.channels; ++c) {
    std::vector<float> sound(captured.frames / 2);
    sources.render(c, sound.data(), static_cast<int32_t>(sound.size()));
    sound.insert(sound.end(), sound.begin(), sound.end());
    EXPECT_TRUE(std::equal(sound.begin(), sound.end(), captured.channel(c))) << c;
  }
  const Bytes before = ReadBytes(folder.name("capture.wav"));
  options.sourceFile = options.captureFile;
  std::wstring error;
  EXPECT_FALSE(VirtualDevice(options).prepare(&error));
  EXPECT_NE(error.find(L"cannot be the capture file as well"), std::wstring::npos) << error;
  EXPECT_EQ(ReadBytes(folder.name("capture.wav")), before);
}

// Neither a reader that is too slow nor one that goes away holds up the real clock or ends the program.
TEST(VirtualCapture, ASlowReaderOfAFifoCostsFramesNotTime) {
  const TemporaryFolder folder;
  if (std::system(("mkfifo '" + folder.name("pipe") + "' 2>/dev/null").c_str()) != 0) {
    GTEST_SKIP() << "no named pipes here";
  }
  std::atomic<bool> letGo{false};
  std::thread reader([&] {
    std::ifstream pipe(folder.name("pipe"), std::ios::binary);
    tests::Eventually([&] { return letGo.load(); });
  });
  VirtualOptions options = optionsOf(-1, VirtualClock::real);
  options.outputs = 512;
  options.captureFile = folder.wide("pipe");
  VirtualRig rig(options);
  rig.host.run(8192, 192000.0);  // four blocks fill the ring
  EXPECT_TRUE(tests::Eventually([&] { return rig.device.captureFramesLost() >= 2 * 8192; }));
  letGo = true;
  reader.join();
  rig.host.close();
  EXPECT_EQ(rig.device.captureFramesLost(), static_cast<uint64_t>(rig.host.blocks) * 8192);
  EXPECT_NE(rig.device.captureError().find(L"cannot be written: Broken pipe."), std::wstring::npos)
      << rig.device.captureError();
}

TEST(VirtualDriver, OneOfTwoDriversHasTheDeviceAndFindsItGone) {
  auto device = std::make_unique<VirtualDevice>(optionsOf(-1));
  ASSERT_TRUE(device->prepare(nullptr));
  const auto backEnd = [&device](const BackEndHooks&) { return device->backEnd(); };
  DeviceHost host(backEnd, kVirtualDriverName);
  host.run(kBlock);
  {
    DeviceHost second(backEnd, kVirtualDriverName);
    EXPECT_EQ(second->ASIOInit({.sampleRate = 44100.0}), ASE_OK);
    EXPECT_EQ(second.create(kBlock), ASE_InvalidMode);
  }
  ASSERT_TRUE(host.awaitBlocks(10)) << "left alone by the second driver";
  device.reset();
  EXPECT_EQ(host.wrongHalves, 0);
  EXPECT_EQ(host->ASIOStart(), ASE_NotPresent);
  host.close();
  EXPECT_EQ(host->ASIOInit({.sampleRate = 48000.0}), ASE_NotPresent);
}

TEST(VirtualClockThread, AHeldClockWaitsForItsReleaseAndEveryStartBeginsInSilence) {
  VirtualOptions options = optionsOf(2);  // each half once
  options.held = true;
  VirtualRig rig(options);
  std::atomic<int64_t> sounding{0};
  rig.host.onBlock = [&](int32_t half, int64_t) {
    float* samples = rig.host.output(0, half);
    sounding += std::count(samples, samples + kBlock, 0.0f) == kBlock ? 0 : 1;
    std::fill_n(samples, kBlock, 1.0f);
  };
  rig.host.run(kBlock);
  std::this_thread::sleep_for(10ms);
  EXPECT_EQ(rig.host.blocks, 0);
  rig.device.release();
  ASSERT_TRUE(rig.reachesLimit());
  EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
  EXPECT_EQ(rig.host->ASIOStart(), ASE_OK);
  ASSERT_TRUE(rig.reachesLimit());
  EXPECT_EQ(sounding, 0);
}

// One that is late by less than a tenth of a second is caught up with, of a longer stall the blocks are left out.
TEST(VirtualClockThread, TheRealClockKeepsItsRateAndCatchesUpWithALateBlock) {
  VirtualRig rig(optionsOf(-1, VirtualClock::real));
  const int64_t millisecond = CounterFrequency() / 1000;
  std::chrono::milliseconds late{30};
  int64_t lateUntil = 0;
  rig.host.onBlock = [&](int32_t, int64_t block) {
    if (block == 20) {
      std::this_thread::sleep_for(late);
      lateUntil = CounterNow();
    }
  };
  const auto blocksSince = [](int64_t tick) {
    return static_cast<double>(CounterNow() - tick) / static_cast<double>(CounterFrequency()) * 48000 / kBlock;
  };
  // A machine that is busy for a tenth of a second makes a stall of it.
  EXPECT_TRUE(tests::Eventually([&] {
    const int64_t before = CounterNow();
    rig.host.run(kBlock);
    EXPECT_TRUE(rig.host.awaitBlocks(100));
    EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
    EXPECT_LE(static_cast<double>(rig.host.blocks), blocksSince(before) + 2.0);
    const std::vector<int64_t> lateness = rig.device.lateness();
    EXPECT_GE(*std::min_element(lateness.begin(), lateness.end()), 0);
    rig.host.close();
    return lateness[21] >= 25 * millisecond &&
           *std::min_element(lateness.begin() + 21, lateness.end()) < 15 * millisecond;
  }));
  late = 400ms;  // 300 blocks
  rig.host.run(kBlock);
  ASSERT_TRUE(rig.host.awaitBlocks(40));
  ASSERT_EQ(rig.host->ASIOStop(), ASE_OK);
  EXPECT_LE(static_cast<double>(rig.host.blocks) - 21.0, blocksSince(lateUntil) + 2.0);
  rig.host.close();
  rig.host.run(8192, 100.0);  // a block of 82 seconds does not hold up the stop
  ASSERT_TRUE(tests::Eventually([&] { return rig.host.blocks == 1; }));
  const int64_t before = CounterNow();
  EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
  EXPECT_LT(CounterNow() - before, 10 * CounterFrequency());
}

TEST(BlockSchedule, DoesNotDriftInAYear) {
  for (const double rate : {8000.0, 44100.0, 47999.123, 192000.0}) {
    constexpr int64_t kFrequency = 1'000'000'000;
    const BlockSchedule schedule(kFrequency, 64, rate, 12345);
    const auto blocks = static_cast<int64_t>(365.0 * 86400.0 * rate / 64.0);
    for (const int64_t block : {int64_t{0}, int64_t{7}, blocks}) {
      const long double exact = 64.0L * static_cast<long double>(block) * kFrequency / std::round(rate * 1e3) * 1e3L;
      EXPECT_NEAR(static_cast<double>(schedule.due(block) - 12345 - exact), 0.0, 1.0) << rate;
    }
  }
}

}  // namespace
}  // namespace tarnwick::sound
