#include "engine/instance_chain.h"

#include <gtest/gtest.h>

#include <cmath>

#include "sound/sample_format.h"
#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;

struct RunningRig : EngineRig {
  explicit RunningRig(int32_t sampleType = platform::kFloat32LSB, int32_t blockLength = 64) {
    device.sampleType = sampleType;
    EXPECT_TRUE(startDevice(blockLength));
    runHost();
  }
  // Input 0, in both halves.
  void play(float value) {
    for (auto& half : device.inputBytes) {
      const std::vector<float> block(static_cast<size_t>(device.blockLength), value);
      sound::ClearBlock(device.sampleType, half[0].data(), device.blockLength);
      sound::AddBlock(device.sampleType, half[0].data(), block.data(), device.blockLength);
    }
  }
  float out(int32_t channel, int32_t half, int32_t k = 0) {
    std::vector<float> block(static_cast<size_t>(device.blockLength));
    sound::ReadBlock(device.sampleType, device.outputBytes[half][static_cast<size_t>(channel)].data(), block.data(),
                     device.blockLength);
    return block[static_cast<size_t>(k)];
  }
};

TEST(InstanceChain, UnityGainLeavesEveryBit) {
  RunningRig rig;
  rig.addInstance(0, 0);
  for (int32_t k = 0; k < 64; ++k) {
    rig.device.input(0, 0)[k] = std::nextafter(0.1f * static_cast<float>(k % 9 + 1), 1.0f);
  }
  rig.device.runBlock();
  EXPECT_EQ(rig.device.outputBytes[0][0], rig.device.inputBytes[0][0]);
}

TEST(InstanceChain, InstancesSumOnTheirChannelAndMissingChannelsAreSilent) {
  for (const int32_t type : {platform::kInt24LSB, platform::kFloat32LSB}) {
    RunningRig rig(type, 50);
    rig.play(0.25f);
    for (const auto& [input, output] : {std::pair(0, 0), {0, 0}, {2, 1}, {-1, 1}, {0, 2}, {0, -1}}) {
      rig.addInstance(input, output);
    }
    const int32_t half = rig.device.runBlock();
    EXPECT_NEAR(rig.out(0, half, 49), 0.5f, 1e-6f) << "type " << type;
    EXPECT_NEAR(rig.out(1, half), 0.0f, 1e-6f) << "type " << type;
  }
}

TEST(InstanceChain, MeterFollowsTheGainedInput) {
  RunningRig rig;
  InstanceSlot& slot = rig.addInstance(0, 0);
  slot.config.inputGain = 0.5f;
  rig.device.fillInput(0, 1.0f);
  rig.device.runBlock();
  EXPECT_NEAR(slot.meterDb, -6.02f, 0.01f);
  rig.device.fillInput(0, 0.5f);
  for (const auto& [rate, window] : {std::pair(96000.0, 9600), {48000.0, 4800}, {48000.0, 4800}}) {
    rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, rate);
    rig.device.runBlock();
    EXPECT_NEAR(slot.meterDb, -12.04f, 0.01f) << "from the first block at the new rate on";
    for (const MeterBank* bank : {&rig.engine.instanceMeters, &rig.engine.inputMeters, &rig.engine.outputMeters}) {
      EXPECT_EQ(bank->window().length, window);
      EXPECT_EQ(bank->ring(0).fillCount, 64);
    }
  }
  rig.device.fillInput(0, 0.0f);
  for (int block = 0; block < 160; ++block) {
    rig.device.runBlock();
  }
  EXPECT_EQ(slot.meterDb, -180.0f) << "a source that is silent";
  rig.device.fillInput(0, 1.0f);
  rig.device.runBlock();
  slot.config.inputChannel = -1;
  EXPECT_EQ(rig.out(0, rig.device.runBlock()), 0.0f) << "an input that is unselected buzzes on";
  EXPECT_EQ(slot.meterDb, -100.0f) << "no source";
  EXPECT_EQ(slot.meter->fillCount, 0);
  rig.engine.meteringEnabled = false;
  slot.config.inputChannel = 0;
  rig.device.runBlock();
  EXPECT_EQ(slot.meterDb, -100.0f) << "metering off";
}

// Blocks of integers are metered in pieces of 256 samples.
TEST(InstanceChain, ChannelMetersHearTheWholeBlock) {
  constexpr int32_t kLength = 600;
  for (const int32_t type : {platform::kInt24LSB, platform::kFloat32LSB}) {
    RunningRig rig(type, kLength);
    rig.addInstance(0, 0);
    std::vector<float> block(kLength);
    std::fill(block.begin() + 256, block.begin() + 512, 0.25f);
    std::fill(block.begin() + 512, block.end(), -0.5f);
    for (auto& half : rig.device.inputBytes) {
      sound::AddBlock(type, half[0].data(), block.data(), kLength);
    }
    rig.device.runBlock();
    const double squares = 256 * 0.0625 + 88 * 0.25;
    const double level = 10.0 * std::log10(squares / kLength);
    EXPECT_NEAR(RingLevelDb(rig.engine.inputMeters.ring(0)), level, 1e-4) << "type " << type;
    EXPECT_NEAR(RingLevelDb(rig.engine.outputMeters.ring(0)), level, 1e-4) << "type " << type;
    const ChannelTotals& totals = rig.engine.outputTotals[0];
    EXPECT_EQ(totals.frames, 0) << "nobody wants them";
    rig.engine.totalsWanted = true;
    rig.device.runBlock();
    EXPECT_EQ(totals.frames, kLength) << "type " << type;
    EXPECT_EQ(totals.peak, 0.5f) << "type " << type;
    EXPECT_NEAR(totals.squares, squares, 1e-9) << "type " << type;
  }
}

TEST(InstanceChain, PinkSignalReplacesTheInput) {
  RunningRig rig;
  InstanceSlot& own = rig.addInstance(-1, 0);
  InstanceSlot& other = rig.addInstance(0, 1);
  own.config.testSignalEnabled = 1;
  const int32_t half = rig.device.runBlock();
  const auto heard = [](const InstanceSlot& slot) { return std::vector<float>(slot.input.begin(), slot.input.end()); };
  EXPECT_EQ(heard(own), rig.engine.pink.block);
  EXPECT_EQ(rig.out(0, half, 63), rig.engine.pink.block[63]);
  EXPECT_GT(own.meterDb, -40.0f);
  EXPECT_EQ(rig.out(1, half), 0.0f);
  rig.engine.testSignalAll = true;
  rig.device.runBlock();
  EXPECT_EQ(heard(other), heard(own)) << "all instances hear the same block";
}

TEST(InstanceChain, OutputsKeepASampleTypeOfTheirOwn) {
  RunningRig rig;
  InstanceSlot& slot = rig.addInstance(0, 0);
  for (int32_t k = 0; k < 2; ++k) {
    rig.engine.session.channelInfos[static_cast<size_t>(2 + k)].type = platform::kInt32LSB;
  }
  rig.device.sampleType = platform::kInt32LSB;  // of the outputs that the test reads
  for (const float value : {0.25f, 0.0f, 0.25f}) {
    rig.device.fillInput(0, value);
    const int32_t half = rig.device.runBlock();
    EXPECT_NEAR(rig.out(0, half, 63), value, 1e-6f);
    EXPECT_EQ(rig.device.outputBytes[half][1], std::vector<uint8_t>(64 * sizeof(float), 0));
  }
  EXPECT_EQ(slot.glitch.glitchCount, 1u);
  EXPECT_NEAR(RingLevelDb(rig.engine.outputMeters.ring(0)), -12.04f - 1.76f, 0.01f);
}

}  // namespace
}  // namespace tarnwick::engine
