// What one block does: the effect's sound, the dry signal instead, and buses wider than asked for.
#include <algorithm>
#include <cmath>
#include <random>
#include <set>

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

// Processes `in` into an output with guards before and behind it, and once more in place: both must agree.
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
  return out;
}

TEST_F(PluginTest, ABlockIsTheEffectsSoundOrTheDrySignal) {
  const struct {
    const char* module;
    size_t samples;
    float factor;
  } cases[] = {
      {"gain", 1, 0.5f},           {"gain", kBlock, 0.5f},
      {"gain", kBlock + 1, 1.0f},  // longer than the buffers
      {"gain", 4 * kBlock, 1.0f},  {"process_fails", kBlock, 1.0f},
      {"process_throws", 5, 1.0f}, {"claims_silence", kBlock, 0.5f},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.module) + " " + std::to_string(one.samples));
    ASSERT_TRUE(LoadModule(state, TestModule(one.module)));
    PluginInstance* instance = addInstance(kBlock);
    const auto in = noise(one.samples);
    EXPECT_EQ(processed(instance, in), times(in, one.factor));
    EXPECT_EQ(processed(instance, in), times(in, one.factor)) << "the block after";
  }
  const auto in = noise(kBlock);
  EXPECT_EQ(processed(nullptr, in), in) << "an empty slot";
  PluginInstance bare;
  EXPECT_EQ(processed(&bare, in), in) << "no processor";
}

TEST_F(PluginTest, NothingToDoTouchesNothing) {
  ASSERT_TRUE(LoadModule(state, TestModule("gain")));
  PluginInstance* instance = addInstance(kBlock);
  float in[4] = {1, 2, 3, 4};
  float out[4] = {kGuard, kGuard, kGuard, kGuard};
  for (PluginInstance* which : {instance, static_cast<PluginInstance*>(nullptr)}) {
    ProcessBlock(which, in, out, 0);
    ProcessBlock(which, in, out, -1);
    ProcessBlock(which, nullptr, out, 4);
    ProcessBlock(which, in, nullptr, 4);
  }
  EXPECT_THAT(out, ::testing::Each(kGuard));
}

TEST_F(PluginTest, AnEffectThatRefusesMonoGetsBuffersForAllItsChannels) {
  const struct {
    const char* module;
    int32_t inputs;
    int32_t outputs;
  } cases[] = {
      {"gain", 1, 1},          {"stereo", 2, 2},     {"mono_to_stereo", 1, 2}, {"five_to_one", 5, 1},
      {"unspoken_quad", 4, 4}, {"too_wide", 64, 64}, {"negative_width", 1, 1}, {"no_channels", 1, 1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.module);
    ASSERT_TRUE(LoadModule(state, TestModule(one.module)));
    PluginInstance* instance = addInstance(kBlock);
    ASSERT_NE(instance, nullptr);
    ASSERT_EQ(instance->inputBus.numChannels, one.inputs);
    ASSERT_EQ(instance->outputBus.numChannels, one.outputs);
    for (int32_t channel = 0; channel < one.inputs; ++channel) {
      EXPECT_EQ(instance->inputBus.channelBuffers32[channel], instance->inputBuffer.data());
    }
    EXPECT_EQ(instance->outputBus.channelBuffers32[0], instance->outputBuffer.data());
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
  loadAndListen("gain");
  PluginInstance* instance = addInstance();
  const struct {
    double given;
    float factor;
  } cases[] = {{0.25, 0.25f}, {1.7, 1.0f}, {-0.2, 0.0f}, {1.0, 1.0f}, {0.0, 0.0f}, {std::nan(""), 0.0f}};
  for (const auto& one : cases) {
    EXPECT_TRUE(SetFirstParameter(*instance, one.given));
    EXPECT_EQ(processed(instance, {1.0f}), std::vector<float>{one.factor}) << one.given;
  }
  calls.clear();
  SetFirstParameter(*instance, 3.0);
  EXPECT_THAT(calls, ::testing::ElementsAre("setParamNormalized 1701 1.000000"));  // by id, which is not the index
}

TEST_F(PluginTest, AnEffectWithoutASettableFirstParameterSaysSo) {
  for (const char* module : {"no_parameters", "parameter_info_fails", "set_parameter_fails", "throws_throughout"}) {
    ASSERT_TRUE(LoadModule(state, TestModule(module)));
    EXPECT_FALSE(SetFirstParameter(*addInstance(), 0.5)) << module;
  }
  PluginInstance bare;
  EXPECT_FALSE(SetFirstParameter(bare, 0.5)) << "no controller";
}

}  // namespace
}  // namespace tarnwick::plugin
