#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <numbers>
#include <numeric>
#include <thread>
#include <vector>

#include "platform/temporary_folder.h"
#include "sound/virtual/signal_sources.h"
#include "sound/wav_reader.h"
#include "virtual_host.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

using namespace std::chrono_literals;

TEST(SignalSources, SoundAsTheirNamesSayAtEveryRate) {
  for (const double rate : {32000.0, 96000.0}) {
    SCOPED_TRACE(rate);
    SignalSources sources(4, {}, nullptr, 44100.0, 96000.0);
    sources.setRate(rate);
    const auto render = [&](int32_t input) {
      std::vector<float> sound(static_cast<size_t>(8.0 * rate));
      for (size_t at = 0; at < sound.size(); at += 160) {
        sources.render(input, sound.data() + at, 160);
      }
      return sound;
    };
    const std::vector<float> tone = render(1);
    const double step = 2.0 * std::numbers::pi * 110.0 * std::exp2(1.0 / 12.0) / rate;
    for (size_t i = 0; i < tone.size(); ++i) {
      ASSERT_NEAR(tone[i], std::pow(10.0, -18.0 / 20.0) * std::sin(step * static_cast<double>(i)), 1e-5) << i;
    }
    // In windows of 50 ms; the least of the plucked notes is their hiss, uniformly distributed.
    const struct {
      int32_t input;
      double loudest[2];
      double quietest[2];
    } cases[] = {
        {0, {-25.0, 0.0}, {-77.8, -75.8}}, {2, {-18.0, -16.2}, {-25.0, -22.8}}, {3, {-301, -299}, {-301, -299}}};
    for (const auto& c : cases) {
      const std::vector<float> sound = render(c.input);
      const auto window = static_cast<size_t>(0.05 * rate);
      std::vector<double> levels;
      for (size_t at = 0; at + window <= sound.size(); at += window) {
        const double sum = std::inner_product(&sound[at], &sound[at] + window, &sound[at], 0.0);
        levels.push_back(10.0 * std::log10(sum / static_cast<double>(window) + 1e-30));
      }
      const auto [quietest, loudest] = std::minmax_element(levels.begin(), levels.end());
      EXPECT_TRUE(c.loudest[0] < *loudest && *loudest < c.loudest[1]) << c.input << ": " << *loudest;
      EXPECT_TRUE(c.quietest[0] < *quietest && *quietest < c.quietest[1]) << c.input << ": " << *quietest;
    }
  }
}

TEST(SignalSources, InputsHearTheChannelsOfAFileInALoop) {
  WavSamples file;
  file.channels = 3;
  file.frames = 150;  // no multiple of the block
  file.samples.resize(3 * file.frames);
  std::iota(file.samples.begin(), file.samples.end(), 0.0f);
  SignalSources sources(4, {}, &file, 48000.0, 48000.0);
  for (int32_t input = 0; input < 4; ++input) {
    float sound[kBlock];
    for (size_t at = 0; at < 500; at += kBlock) {
      sources.render(input, sound, kBlock);
      for (size_t i = 0; i < kBlock; ++i) {
        ASSERT_EQ(sound[i], file.channel(input % 3)[(at + i) % file.frames]) << input << ", " << at + i;
      }
    }
  }
}

TEST(VirtualCapture, FastRunsStopAtTheirLimitAndRepeatBitForBitInOneFile) {
  const TemporaryFolder folder;
  constexpr int64_t kBlocks = 3000;
  VirtualOptions options = FastOptions(kBlocks);
  options.captureFile = folder.wide("capture.wav");
  VirtualRig rig(options);
  rig.host.run(kBlock);
  ASSERT_TRUE(rig.reachesLimit());
  std::this_thread::sleep_for(2ms);
  EXPECT_EQ(rig.host.blocks, kBlocks);
  EXPECT_EQ(rig.host->ASIOStop(), ASE_OK);
  ASSERT_EQ(rig.host->ASIOStart(), ASE_OK);
  EXPECT_TRUE(rig.reachesLimit());
  rig.host.close();
  EXPECT_EQ(rig.device.captureFramesLost(), 0u);
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  ASSERT_EQ(captured.frames, 2u * kBlocks * kBlock);
  SignalSources sources(4, {}, nullptr, 48000.0, 48000.0);
  for (int32_t c = 0; c < captured.channels; ++c) {
    const float* run = captured.channel(c);
    EXPECT_EQ(std::memcmp(run, run + captured.frames / 2, captured.frames / 2 * sizeof(float)), 0) << c;
    std::vector<float> sound(captured.frames / 2);
    sources.render(c, sound.data(), static_cast<int32_t>(sound.size()));
    for (size_t i = 0; i < sound.size(); ++i) {
      ASSERT_EQ(run[i], sound[i]) << c;
    }
  }
}

TEST(VirtualCapture, TheSourceFileIsNeverOverwritten) {
  const TemporaryFolder folder;
  VirtualOptions options = FastOptions(1);
  options.captureFile = folder.wide("sound.wav");
  {
    VirtualRig rig(options);
    rig.host.run(kBlock);
    ASSERT_TRUE(rig.reachesLimit());
  }
  const Bytes before = ReadBytes(folder.name("sound.wav"));
  options.sourceFile = options.captureFile;
  VirtualDevice device(options);
  std::wstring error;
  EXPECT_FALSE(device.prepare(&error));
  EXPECT_NE(error.find(L"cannot be the capture file as well"), std::wstring::npos) << error;
  EXPECT_EQ(ReadBytes(folder.name("sound.wav")), before);
}

TEST(VirtualCapture, ARunAtAnotherRateIsLeftOutOfTheFile) {
  const TemporaryFolder folder;
  VirtualOptions options = FastOptions(10);
  options.captureFile = folder.wide("capture.wav");
  VirtualRig rig(options);
  for (const double rate : {48000.0, 44100.0, 48000.0}) {
    rig.host.run(kBlock, rate);
    ASSERT_TRUE(rig.reachesLimit());
    rig.host.close();
  }
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  EXPECT_EQ(captured.sampleRate, 48000u);
  EXPECT_EQ(captured.frames, 20u * kBlock);
  EXPECT_EQ(rig.device.captureFramesLost(), 10u * kBlock);
  EXPECT_NE(rig.device.captureError().find(L"begun at 48000 Hz"), std::wstring::npos) << rig.device.captureError();
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
  VirtualOptions options = FastOptions(-1);
  options.clock = VirtualClock::real;
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

}  // namespace
}  // namespace tarnwick::sound
