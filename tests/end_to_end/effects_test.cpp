// Effects that were not written here (package zam-plugins): through the program, and in this process where a test sets
// what the program has no option for.
#include <gmock/gmock.h>

#include <algorithm>
#include <thread>

#include "engine/host.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/temporary_folder.h"
#include "platform/virtual/virtual_driver.h"
#include "program.h"
#include "sounds.h"
#include "support/engine_rig.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace tarnwick::tests {
namespace {

using engine::InstanceRow;
using platform::TemporaryFolder;

struct RealEffect {
  const char* name;
  bool works;  // on speech that goes beyond full scale, with its parameters as they come
};

std::ostream& operator<<(std::ostream& out, const RealEffect& effect) {
  return out << effect.name;
}

std::string bundle(const RealEffect& effect) {
  return std::string("/usr/lib/vst3/") + effect.name + ".vst3";
}

// Engine and host on a virtual device that plays `source` on its fast clock into `capture`.
class Rig {
 public:
  Rig(const std::wstring& plugin, const std::wstring& source, const std::wstring& capture, int64_t blocks)
      : device_(options(source, capture, blocks)) {
    engine_.mmcssEnabled = false;
    host.pluginPath = platform::ResolveModuleFile(plugin);
  }

  // Runs all blocks. What the host shows of its instances is to be looked at in `atEnd`, while it still runs.
  bool run(const std::function<void()>& atEnd) {
    std::wstring error;
    engine::SessionRequest request;
    request.deviceName = platform::kVirtualDriverName;
    request.blockLength = 256;
    request.sampleRate = 48000.0;
    const bool started = device_.prepare(&error) &&
                         engine::StartAsio(engine_, device_.backEnd(), request, user_.ui(), &error, false) &&
                         startHost(&error);
    EXPECT_TRUE(started) << platform::Utf8FromWide(error);
    if (started) {
      device_.release();
      const auto limit = std::chrono::steady_clock::now() + kProgramLimit;
      while (!device_.limitReached() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      EXPECT_TRUE(device_.limitReached());
      atEnd();
      engine::StopHostAsync(host);
      while (user_.stopsFinished.load() == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      engine::CompleteHostStop(host);
    }
    return engine::StopAsio(engine_, user_.ui(), &error, false) && started;
  }

 private:
  static platform::VirtualOptions options(const std::wstring& source, const std::wstring& capture, int64_t blocks) {
    platform::VirtualOptions options;
    options.clock = platform::VirtualClock::fast;
    options.held = true;
    options.blockLimit = blocks;
    options.sourceFile = source;
    options.captureFile = capture;
    return options;
  }
  // ZamVerb makes a transform plan in a library that never frees its tables: what is allocated while effects are
  // loaded is not counted as leaked.
  bool startHost(std::wstring* error) {
#if defined(__SANITIZE_ADDRESS__)
    const __lsan::ScopedDisabler uncounted;
#endif
    return engine::StartHost(host, error, false);
  }

  platform::VirtualDevice device_;
  UserSees user_;
  system::CpuSteering steering_;
  engine::Engine engine_{steering_};

 public:
  engine::Host host{engine_, user_.ui()};
};

InstanceRow wired(int32_t input, int32_t output, bool bypass) {
  InstanceRow row;
  row.config.inputChannel = input;
  row.config.outputChannel = output;
  row.config.bypassEnabled = bypass ? 1 : 0;
  return row;
}

// What a device can play of a signal.
Channel withinFullScale(Channel signal) {
  std::transform(signal.begin(), signal.end(), signal.begin(), [](float s) { return std::clamp(s, -1.0f, 1.0f); });
  return signal;
}

// Far apart or, but for rounding, the same.
void expectChange(const float* heard, const Channel& given, size_t count, bool changed) {
  const double difference = DifferenceDb(heard, given.data(), count);
  if (changed) {
    EXPECT_GT(difference, -60.0);
    EXPECT_GT(LevelDb(heard, 0, count), -60.0) << "silent";
  } else {
    EXPECT_LT(difference, -100.0);
  }
}

class RealEffects : public ::testing::TestWithParam<RealEffect> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(platform::FolderExists(platform::WideFromUtf8(bundle(GetParam()))))
        << "the package zam-plugins is needed (./test installs it)";
  }
  TemporaryFolder folder;
};

constexpr int64_t kBlocks = 150;  // 0.8 s, which end within a word
constexpr size_t kFrames = kBlocks * 256;

TEST_P(RealEffects, EightInTheProgram) {
  const Channel speech = Speech(1.0, 2.5f);
  ASSERT_GT(speech.size(), kFrames);
  WriteSound(folder.name("speech.wav"), {speech});
  const ProgramResult result =
      RunTarnwick({"--plugin", bundle(GetParam()), "--instances", "8", "--start", "--seconds", "0.8", "--virtual-clock",
                   "fast", "--virtual-source", folder.name("speech.wav"), "--virtual-capture", folder.name("out.wav")},
                  {"ASAN_OPTIONS=detect_leaks=0"});
  ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
  const rapidjson::Document summary = result.summary();
  ASSERT_TRUE(summary.IsObject()) << result.out;
  EXPECT_EQ(summary["blocks"].GetInt64(), kBlocks);
  EXPECT_EQ(summary["skippedBlocks"].GetInt64(), 0);

  const platform::WavSamples heard = ReadSound(folder.name("out.wav"));
  ASSERT_EQ(heard.channels, 8);
  ASSERT_EQ(heard.frames, kFrames);
  EXPECT_TRUE(AllFinite(heard));
  expectChange(heard.channel(0), withinFullScale(speech), kFrames, GetParam().works);
  for (int32_t c = 1; c < 8; ++c) {
    EXPECT_TRUE(std::equal(heard.channel(c), heard.channel(c) + kFrames, heard.channel(0))) << "output " << c + 1;
  }
}

TEST_P(RealEffects, EightHereOfWhichFourAreBypassed) {
  const Channel speech = Speech(1.0, 0.9f);
  WriteSound(folder.name("speech.wav"), {speech});
  Rig rig(platform::WideFromUtf8(bundle(GetParam())), folder.wide("speech.wav"), folder.wide("out.wav"), kBlocks);
  for (int32_t i = 0; i < 8; ++i) {
    InstanceRow row = wired(i, i, i % 2 == 0);
    row.config.inputGainDb = i % 2 == 0 ? 0 : 9;
    rig.host.rows.push_back(row);
  }
  // These effects were built to report on standard error, for every block, something that a host need not give.
  testing::internal::CaptureStderr();
  const bool ran = rig.run([&] {
    const double level = LevelDb(speech.data(), kFrames - 4800, 4800);  // what a meter's window holds
    EXPECT_GT(level, -60.0);
    for (int32_t i = 0; i < 8; ++i) {
      EXPECT_NEAR(engine::InstanceMeterDb(rig.host, i), level + (i % 2 == 0 ? 0.0 : 9.0), 0.1) << "instance " << i + 1;
    }
  });
  const std::string reports = testing::internal::GetCapturedStderr();
  ASSERT_TRUE(ran);

  const platform::WavSamples heard = ReadSound(folder.name("out.wav"));
  ASSERT_EQ(heard.frames, kFrames);
  EXPECT_TRUE(AllFinite(heard));
  Channel louder = speech;
  std::transform(louder.begin(), louder.end(), louder.begin(), [](float s) { return s * engine::LinearGain(9); });
  expectChange(heard.channel(1), withinFullScale(louder), kFrames, GetParam().works);
  for (int32_t c = 0; c < 8; ++c) {
    const float* same = c % 2 == 0 ? speech.data() : heard.channel(1);
    EXPECT_TRUE(std::equal(heard.channel(c), heard.channel(c) + kFrames, same)) << "output " << c + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(Zam, RealEffects,
                         ::testing::Values(RealEffect{"ZamGate", true}, RealEffect{"ZamComp", true},
                                           RealEffect{"ZaMultiComp", false}, RealEffect{"ZamEQ2", false},
                                           RealEffect{"ZamVerb", true}),  // wants stereo, gets mono
                         [](const auto& effect) { return std::string(effect.param.name); });

TEST(Wiring, TakesEachInputFromItsChannelToItsOutput) {
  const TemporaryFolder folder;
  std::vector<Channel> source(3, Channel(1000));  // shorter than the run, so it comes round
  for (size_t c = 0; c < source.size(); ++c) {
    for (size_t k = 0; k < source[c].size(); ++k) {
      source[c][k] = 0.1f * static_cast<float>(c + 1) + 1e-4f * static_cast<float>(k);
    }
  }
  WriteSound(folder.name("three.wav"), source);
  Rig rig(platform::WideFromUtf8(TARNWICK_OMBREL), folder.wide("three.wav"), folder.wide("out.wav"), 12);
  const int32_t wires[][2] = {{0, 7}, {1, 6}, {2, 5}, {3, 4}, {7, 0}, {4, 1}, {5, 1}};  // two sum, outputs 3 and 4 rest
  for (const auto& wire : wires) {
    rig.host.rows.push_back(wired(wire[0], wire[1], true));
  }
  ASSERT_TRUE(rig.run([] {}));
  const platform::WavSamples heard = ReadSound(folder.name("out.wav"));
  ASSERT_EQ(heard.channels, 8);
  ASSERT_EQ(heard.frames, 12u * 256u);
  size_t wrong = 0;
  for (size_t k = 0; k < heard.frames; ++k) {
    float expected[8] = {};
    for (const auto& wire : wires) {
      expected[wire[1]] += source[static_cast<size_t>(wire[0] % 3)][k % 1000];
    }
    for (int32_t c = 0; c < 8; ++c) {
      wrong += heard.channel(c)[k] != expected[c] ? 1u : 0u;
    }
  }
  EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace tarnwick::tests
