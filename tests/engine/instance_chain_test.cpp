#include "engine/instance_chain.h"

#include <gtest/gtest.h>

#include <cmath>

#include "engine/sample_format.h"
#include "support/engine_rig.h"
#include "support/fake_processor.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;
using tests::FakeEffect;
using tests::MultiplyBy;

struct RunningRig : EngineRig {
  explicit RunningRig(int32_t sampleType = platform::kFloat32LSB, int32_t blockLength = 64) {
    device.sampleType = sampleType;
    EXPECT_TRUE(startDevice(blockLength));
    runHost();
  }
  float out(int32_t channel, int32_t half, int32_t k = 0) {
    return ReadSample(device.sampleType, device.outputBytes[half][static_cast<size_t>(channel)].data(), k);
  }
};

TEST(InstanceChain, GainsAroundTheEffectAndBypass) {
  RunningRig rig;
  FakeEffect effect(64, MultiplyBy(0.5f));
  InstanceSlot& slot = rig.addInstance(0, 1, &effect.instance);
  slot.config.inputGain = 2.0f;
  slot.config.outputGain = 0.25f;
  rig.device.fillInput(0, 0.4f);
  EXPECT_FLOAT_EQ(rig.out(1, rig.device.runBlock()), 0.4f * 2.0f * 0.5f * 0.25f);
  slot.config.bypassEnabled = 1;
  EXPECT_FLOAT_EQ(rig.out(1, rig.device.runBlock()), 0.4f * 2.0f * 0.25f);
  EXPECT_EQ(rig.out(0, 0), 0.0f) << "a channel without an instance stays silent";
}

TEST(InstanceChain, UnityGainLeavesEveryBit) {
  RunningRig rig;
  rig.addInstance(0, 0);
  for (int32_t k = 0; k < 64; ++k) {
    rig.device.input(0, 0)[k] = std::nextafter(0.1f * static_cast<float>(k % 9 + 1), 1.0f);
  }
  rig.device.runBlock();
  EXPECT_EQ(rig.device.outputBytes[0][0], rig.device.inputBytes[0][0]);
}

TEST(InstanceChain, PassesThroughWhereTheEffectCannotRun) {
  FakeEffect failing(64, [](Steinberg::Vst::ProcessData& data) {
    data.outputs[0].channelBuffers32[0][0] = 99.0f;
    return Steinberg::tresult{Steinberg::kInternalError};
  });
  FakeEffect tooSmall(32, MultiplyBy(0.0f));
  FakeEffect noProcessor(64, MultiplyBy(0.0f));
  noProcessor.instance.processor = nullptr;
  for (plugin::PluginInstance* runner :
       {static_cast<plugin::PluginInstance*>(nullptr), &failing.instance, &tooSmall.instance, &noProcessor.instance}) {
    RunningRig rig;
    rig.addInstance(0, 0, runner).config.inputGain = 0.5f;
    rig.device.fillInput(0, 0.5f);
    EXPECT_EQ(rig.out(0, rig.device.runBlock()), 0.25f);
  }
}

TEST(InstanceChain, TheEffectGetsAClearedOutputAndItsOwnInput) {
  RunningRig rig;
  FakeEffect adding(64, [](Steinberg::Vst::ProcessData& data) {
    for (Steinberg::int32 k = 0; k < data.numSamples; ++k) {
      data.outputs[0].channelBuffers32[0][k] += 0.25f;  // would grow if the buffer were not cleared
      data.inputs[0].channelBuffers32[0][k] = 7.0f;     // must not reach the metered input
    }
    return Steinberg::tresult{Steinberg::kResultOk};
  });
  InstanceSlot& slot = rig.addInstance(0, 0, &adding.instance);
  rig.device.runBlock();
  EXPECT_EQ(rig.out(0, rig.device.runBlock()), 0.25f);
  EXPECT_EQ(slot.input[0], 0.0f);
}

TEST(InstanceChain, SumsInEverySampleTypeAndClips) {
  for (const int32_t type :
       {platform::kInt16MSB, platform::kInt24LSB, platform::kInt32LSB, platform::kFloat32LSB, platform::kFloat64LSB}) {
    RunningRig rig(type, 50);
    for (int32_t half = 0; half < 2; ++half) {
      for (int32_t k = 0; k < 50; ++k) {
        WriteSample(type, rig.device.inputBytes[half][0].data(), k, 0.25f);
        WriteSample(type, rig.device.inputBytes[half][1].data(), k, -0.9f);
      }
    }
    rig.addInstance(0, 0);
    rig.addInstance(0, 0);
    rig.addInstance(1, 1);
    rig.addInstance(1, 1);
    const int32_t half = rig.device.runBlock();
    EXPECT_NEAR(rig.out(0, half, 49), 0.5f, 1e-4f) << "type " << type;
    EXPECT_NEAR(rig.out(1, half, 49), -1.0f, 1e-4f) << "type " << type;
  }
}

TEST(InstanceChain, NotANumberNeverReachesTheDevice) {
  RunningRig rig;
  FakeEffect broken(64, [](Steinberg::Vst::ProcessData& data) {
    std::fill_n(data.outputs[0].channelBuffers32[0], data.numSamples, NAN);
    return Steinberg::tresult{Steinberg::kResultOk};
  });
  FakeEffect infinite(64, [](Steinberg::Vst::ProcessData& data) {
    std::fill_n(data.outputs[0].channelBuffers32[0], data.numSamples, -INFINITY);
    return Steinberg::tresult{Steinberg::kResultOk};
  });
  rig.addInstance(0, 0, &broken.instance);
  rig.addInstance(0, 0);
  rig.addInstance(0, 1, &infinite.instance);
  rig.device.fillInput(0, 0.5f);
  const int32_t half = rig.device.runBlock();
  EXPECT_EQ(rig.out(0, half), 0.5f) << "the other instance on the channel is still heard";
  EXPECT_EQ(rig.out(1, half), -1.0f);
}

TEST(InstanceChain, MeterFollowsTheGainedInput) {
  RunningRig rig;
  InstanceSlot& slot = rig.addInstance(0, 0);
  slot.config.inputGain = 0.5f;
  rig.device.fillInput(0, 1.0f);
  rig.device.runBlock();
  EXPECT_NEAR(slot.meterDb, -6.02f, 0.01f);
  rig.device.fillInput(0, 0.0f);
  for (int block = 0; block < 160; ++block) {
    rig.device.runBlock();
  }
  EXPECT_EQ(slot.meterDb, -180.0f) << "a source that is silent";
  slot.config.inputChannel = -1;
  rig.device.runBlock();
  EXPECT_EQ(slot.meterDb, -100.0f) << "no source";
  EXPECT_EQ(slot.meter->fillCount, 0);
  rig.engine.meteringEnabled = false;
  slot.config.inputChannel = 0;
  rig.device.runBlock();
  EXPECT_EQ(slot.meterDb, -100.0f) << "metering off";
}

TEST(InstanceChain, PinkSignalReplacesTheInput) {
  RunningRig rig;
  InstanceSlot& own = rig.addInstance(-1, 0);
  InstanceSlot& other = rig.addInstance(0, 1);
  own.config.testSignalEnabled = 1;
  double power = 0.0;
  for (int block = 0; block < 6 * 750; ++block) {
    const int32_t half = rig.device.runBlock();
    for (int32_t k = 0; k < 64 && block >= 3 * 750; ++k) {
      power += static_cast<double>(rig.out(0, half, k)) * rig.out(0, half, k);
    }
    ASSERT_EQ(rig.out(1, half), 0.0f);
  }
  EXPECT_NEAR(10.0 * std::log10(power / (3 * 750 * 64)), -18.0, 0.7);
  EXPECT_NEAR(own.meterDb, -18.0f, 3.0f);
  rig.engine.testSignalAll = true;
  rig.device.runBlock();
  EXPECT_EQ(other.input, own.input) << "all instances hear the same block";
}

TEST(InstanceChain, MissingChannelsAreSilent) {
  RunningRig rig;
  rig.device.fillInput(0, 0.5f);
  rig.addInstance(7, 0);
  rig.addInstance(-1, 1);
  rig.addInstance(0, 9);
  rig.addInstance(0, -1);
  const int32_t half = rig.device.runBlock();
  EXPECT_EQ(rig.out(0, half), 0.0f);
  EXPECT_EQ(rig.out(1, half), 0.0f);
}

TEST(InstanceChain, DropoutsAreCountedOnTheOutputAfterSumming) {
  for (const int32_t type : {platform::kFloat32LSB, platform::kInt24LSB}) {
    RunningRig rig(type);
    InstanceSlot& slot = rig.addInstance(0, 0);
    const auto play = [&](float value) {
      for (int32_t half = 0; half < 2; ++half) {
        for (int32_t k = 0; k < 64; ++k) {
          WriteSample(type, rig.device.inputBytes[half][0].data(), k, value);
        }
      }
      rig.device.runBlock();
    };
    for (const float value : {0.5f, 0.0f, 0.5f, 0.0f, 0.0f, 0.5f}) {
      play(value);
    }
    EXPECT_EQ(slot.glitch.glitchCount, 1u);
    rig.engine.hostStartTimestamp = platform::CounterNow();  // the grace second after a host start
    for (const float value : {0.5f, 0.0f, 0.5f}) {
      play(value);
    }
    EXPECT_EQ(slot.glitch.glitchCount, 1u);
  }
}

}  // namespace
}  // namespace tarnwick::engine
