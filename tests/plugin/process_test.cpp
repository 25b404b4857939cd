// One block: the effect's sound, the dry signal instead, and buses wider than asked for.
#include <algorithm>
#include <cmath>
#include <random>

#include "plugin_fixture.h"

namespace tarnwick::plugin {
namespace {

constexpr int32_t kBlock = 64;
constexpr float kGuard = 12345.0f;

std::vector<float> noise(size_t samples) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> level(-1.0f, 1.0f);
  std::vector<float> out(samples);
  std::generate(out.begin(), out.end(), [&] { return level(random); });
  return out;
}

std::vector<float> times(std::vector<float> samples, float factor) {
  for (float& sample : samples) {
    sample *= factor;
  }
  return samples;
}

// Processes `in` into an output with guards before and behind it, in place, and within the instance's own buffers: all
// must agree.
std::vector<float> processed(PluginInstance* instance, const std::vector<float>& in) {
  const size_t n = in.size();
  std::vector<float> guarded(n + 2, kGuard);
  ProcessBlock(instance, in.data(), guarded.data() + 1, static_cast<int32_t>(n));
  EXPECT_EQ(guarded.front(), kGuard);
  EXPECT_EQ(guarded.back(), kGuard);
  const std::vector<float> out(guarded.begin() + 1, guarded.end() - 1);
  std::vector<float> inPlace = in;
  ProcessBlock(instance, inPlace.data(), inPlace.data(), static_cast<int32_t>(n));
  EXPECT_EQ(inPlace, out);
  if (instance != nullptr && n <= instance->inputBuffer.size()) {
    std::copy(in.begin(), in.end(), instance->inputBuffer.begin());
    ProcessBlock(instance, instance->inputBuffer.data(), instance->outputBuffer.data(), static_cast<int32_t>(n));
    const auto own = instance->outputBuffer.begin();
    EXPECT_EQ(std::vector<float>(own, own + static_cast<std::ptrdiff_t>(n)), out);
  }
  return out;
}

TEST_F(PluginTest, ABlockIsTheEffectsSoundOrTheDrySignal) {
  const struct {
    const char* words;
    size_t samples;
    float factor;
  } cases[] = {
      {"", 1, 0.5f},
      {"claims-silence", kBlock, 0.5f},
      {"", kBlock + 1, 1.0f},  // longer than the buffers
      {"process-fails", kBlock, 1.0f},
      {"process-throws", 5, 1.0f},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.words) + " " + std::to_string(one.samples));
    load(one.words);
    const auto in = noise(one.samples);
    EXPECT_EQ(processed(addInstance(kBlock), in), times(in, one.factor));
  }
  const auto in = noise(kBlock);
  EXPECT_EQ(processed(nullptr, in), in) << "an empty slot";
}

TEST_F(PluginTest, AnEffectThatRefusesMonoGetsBuffersForAllItsChannels) {
  const struct {
    const char* words;
    int32_t inputs;
    int32_t outputs;
  } cases[] = {
      {"", 1, 1},
      {"inputs=1 outputs=2", 1, 2},
      {"inputs=5 outputs=1", 5, 1},
      {"inputs=4 outputs=4 bus-info-fails", 4, 4},
      {"inputs=100000 outputs=100000", 64, 64},
      {"inputs=-3 outputs=0", 1, 1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.words);
    load(one.words);
    PluginInstance* instance = addInstance(kBlock);
    ASSERT_NE(instance, nullptr);
    ASSERT_EQ(instance->inputBus.numChannels, one.inputs);
    ASSERT_EQ(instance->outputBus.numChannels, one.outputs);
    for (int32_t channel = 0; channel < one.inputs; ++channel) {
      EXPECT_EQ(instance->inputBus.channelBuffers32[channel], instance->inputBuffer.data());
    }
    const auto in = noise(kBlock);
    // The effect adds to what its outputs hold: a stale one would grow from block to block.
    EXPECT_EQ(processed(instance, in), times(in, 0.5f));
    for (int32_t channel = 0; channel < one.outputs; ++channel) {
      const float* out = instance->outputBus.channelBuffers32[channel];
      EXPECT_EQ(std::vector<float>(out, out + kBlock), times(in, 0.5f * static_cast<float>(channel + 1)));
    }
  }
}

TEST_F(PluginTest, TheFirstParameterIsSetWithinItsRange) {
  load("");
  PluginInstance* instance = addInstance();
  for (const auto& [given, factor] : {std::pair(0.25, 0.25f), {1.7, 1.0f}, {-0.2, 0.0f}, {std::nan(""), 0.0f}}) {
    EXPECT_TRUE(SetFirstParameter(*instance, given));
    EXPECT_EQ(processed(instance, {1.0f}), std::vector<float>{factor}) << given;
  }
  for (const char* words : {"no-parameters", "parameter-info-throws", "set-parameter-fails"}) {
    load(words);
    EXPECT_FALSE(SetFirstParameter(*addInstance(), 0.5)) << words;
  }
}

}  // namespace
}  // namespace tarnwick::plugin
