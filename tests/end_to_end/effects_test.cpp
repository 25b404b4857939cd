// Effects in the program, as the settings wire them: some that were not written here (package zam-plugins), and the
// bundled one.
#include <gmock/gmock.h>

#include "platform/paths.h"
#include "program.h"
#include "settings/saved_instances.h"
#include "settings/settings_store.h"
#include "sounds.h"

namespace tarnwick::tests {
namespace {

settings::SavedInstance wired(int32_t input, int32_t output, bool bypass) {
  settings::SavedInstance instance;
  instance.inputChannel = input;
  instance.outputChannel = output;
  instance.bypassEnabled = bypass;
  return instance;
}

// A voice, at most `peak` high; it has spoken once for all tests.
Channel Speech(float peak) {
  static const Channel words = [] {
    const platform::TemporaryFolder folder;
    const std::string file = folder.name("speech.wav");
    RunningProgram({"-w", folder.name("raw.wav"), "One, two, three. Good evening, and welcome to the show."},
                   "espeak-ng")
        .finish();
    RunningProgram({folder.name("raw.wav"), "-r", "48000", "-b", "32", "-e", "floating-point", file, "norm"}, "sox")
        .finish();
    return ReadSound(file).samples;  // fails the test where espeak-ng or sox is missing (./test installs them)
  }();
  Channel scaled(words.begin(), words.end());
  std::transform(scaled.begin(), scaled.end(), scaled.begin(), [&](float s) { return peak * s; });
  return scaled;
}

class Effects : public ::testing::Test {
 protected:
  // Plays `source` on the fast clock through the effect in these instances; what the capture holds.
  sound::WavSamples play(const std::string& effect, const std::vector<settings::SavedInstance>& instances,
                         const Channel& source, int32_t channels, int64_t blocks) {
    EXPECT_TRUE(settings::WriteSettings(platform::WideFromUtf8(folder.name("settings")),
                                        {{L"instances", settings::TextFromInstances(instances)}}));
    WriteSound(folder.name("in.wav"), source, channels);
    // The libraries of these effects leak when they are loaded.
    const ProgramResult result =
        RunningProgram({"ASAN_OPTIONS=detect_leaks=0", TARNWICK_PROGRAM, "--remote-port=0", "--settings",
                        folder.name("settings"), "--plugin", effect, "--start", "--seconds",
                        std::to_string(static_cast<double>(blocks) * 256.0 / 48000.0), "--virtual-clock", "fast",
                        "--virtual-source", folder.name("in.wav"), "--virtual-capture", folder.name("out.wav")},
                       "env")
            .finish();
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    const rapidjson::Document summary = result.summary();
    EXPECT_TRUE(summary.IsObject() && summary["blocks"].GetInt64() == blocks &&
                summary["skippedBlocks"].GetInt64() == 0)
        << result.out;
    sound::WavSamples heard = ReadSound(folder.name("out.wav"));
    EXPECT_EQ(heard.channels, 8);
    EXPECT_EQ(heard.frames, static_cast<size_t>(blocks * 256));
    return heard;
  }

  const platform::TemporaryFolder folder;
};

struct RealEffect {
  const char* name;
  bool works;  // on a voice that goes beyond full scale, with its parameters as they come
};

class RealEffects : public Effects, public ::testing::WithParamInterface<RealEffect> {};

TEST_P(RealEffects, EightOfWhichFourAreBypassed) {
  const std::string bundle = std::string("/usr/lib/vst3/") + GetParam().name + ".vst3";
  ASSERT_TRUE(platform::FolderExists(platform::WideFromUtf8(bundle)))
      << "the package zam-plugins is needed (./test installs it)";
  constexpr int64_t kBlocks = 150;  // 0.8 s, which end within a word
  constexpr size_t kFrames = kBlocks * 256;
  Channel voice = Speech(2.5f);
  ASSERT_GT(voice.size(), kFrames);
  std::vector<settings::SavedInstance> instances;
  for (int32_t k = 0; k < 8; ++k) {
    instances.push_back(wired(k, k, k % 2 == 0));
  }
  const sound::WavSamples heard = play(bundle, instances, voice, 1, kBlocks);
  ASSERT_FALSE(HasFailure());
  // The part of it that a device can play.
  std::transform(voice.begin(), voice.end(), voice.begin(), [](float s) { return std::clamp(s, -1.0f, 1.0f); });
  for (int32_t c = 0; c < 8; ++c) {
    const float* same = c % 2 == 0 ? voice.data() : heard.channel(1);
    EXPECT_TRUE(std::equal(heard.channel(c), heard.channel(c) + kFrames, same)) << "output " << c + 1;
  }
  EXPECT_GT(LevelDb(heard.channel(1), 0, kFrames), -60.0) << "silent";
  for (size_t k = 0; k < kFrames; ++k) {
    voice[k] -= heard.channel(1)[k];
  }
  const double difference = LevelDb(voice.data(), 0, kFrames);  // but for rounding, or a real one
  EXPECT_TRUE(GetParam().works ? difference > -60.0 : difference < -100.0) << difference;
}

INSTANTIATE_TEST_SUITE_P(Zam, RealEffects,
                         ::testing::Values(RealEffect{"ZamGate", true}, RealEffect{"ZamComp", true},
                                           RealEffect{"ZaMultiComp", false}, RealEffect{"ZamEQ2", false},
                                           RealEffect{"ZamVerb", true}),  // wants stereo, gets mono
                         [](const auto& effect) { return std::string(effect.param.name); });

TEST_F(Effects, TakeEachInputFromItsChannelToItsOutput) {
  constexpr size_t kLength = 1000;  // shorter than the run, so it comes round
  Channel source(3 * kLength);
  for (size_t k = 0; k < source.size(); ++k) {
    source[k] = 0.1f * static_cast<float>(k % 3 + 1) + 1e-4f * static_cast<float>(k / 3);
  }
  const int32_t wires[][2] = {{0, 7}, {1, 6}, {2, 5}, {3, 4}, {7, 0}, {4, 1}, {5, 1}};  // two sum, outputs 3 and 4 rest
  std::vector<settings::SavedInstance> instances;
  for (const auto& wire : wires) {
    instances.push_back(wired(wire[0], wire[1], true));
  }
  const sound::WavSamples heard = play(TARNWICK_OMBREL, instances, source, 3, 12);
  ASSERT_FALSE(HasFailure());
  size_t wrong = 0;
  for (size_t k = 0; k < heard.frames; ++k) {
    float expected[8] = {};
    for (const auto& wire : wires) {
      expected[wire[1]] += source[k % kLength * 3 + static_cast<size_t>(wire[0] % 3)];
    }
    for (int32_t c = 0; c < 8; ++c) {
      wrong += heard.channel(c)[k] != expected[c] ? 1u : 0u;
    }
  }
  EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace tarnwick::tests
