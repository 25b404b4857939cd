// The module as a host sees it, and the effect's life and processing.
#include <limits>
#include <tuple>
#include <utility>

#include "ombrel_module_fixture.h"

namespace tarnwick::ombrel::test {
namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;

TEST_F(OmbrelModule, FactoryMakesOneEffect) {
  EXPECT_EQ(factory_->countClasses(), 1);
  EXPECT_EQ(state_.className, L"Ombrel");
  // The identity that saved sets hold; on each system in that system's byte order.
  EXPECT_TRUE(FUID::fromTUID(state_.classId) == FUID(0x37FE2168, 0x3BB44E7F, 0xA2865D99, 0xC1C68CF2));
}

TEST_F(OmbrelModule, TakesMonoOnly) {
  SpeakerArrangement mono[] = {SpeakerArr::kMono, SpeakerArr::kMono};
  SpeakerArrangement stereo[] = {SpeakerArr::kStereo};
  EXPECT_EQ(processor_->setBusArrangements(mono, 1, mono, 1), kResultTrue);
  for (const auto& [in, inputs, out] : {std::tuple(mono, 1, stereo), {stereo, 1, mono}, {mono, 2, mono}}) {
    EXPECT_EQ(processor_->setBusArrangements(in, inputs, out, 1), kResultFalse);
  }
  BusInfo info = {};
  EXPECT_EQ(component_->getBusInfo(kAudio, kOutput, 0, info), kResultOk);
  EXPECT_EQ(info.channelCount, 1);
  EXPECT_NE(component_->getBusInfo(kAudio, kInput, 1, info), kResultOk);
  EXPECT_EQ(component_->getBusCount(kEvent, kInput), 0);
  EXPECT_EQ(processor_->canProcessSampleSize(kSample64), kResultFalse);
  for (const double rate : {0.0, -1.0, std::numeric_limits<double>::infinity()}) {
    ProcessSetup setup = {kRealtime, kSample32, 512, rate};
    EXPECT_EQ(processor_->setupProcessing(setup), kResultFalse) << rate;
  }
}

TEST_F(OmbrelModule, ParameterChangesReachTheSound) {
  Samples hiss(24000);
  AddHiss(hiss, -60.0);
  const auto gainDb = [&](const Samples& output) {
    return RmsDb(std::span(output).last(4800)) - RmsDb(std::span(hiss).last(4800));
  };
  process(hiss);
  EXPECT_NEAR(gainDb(process(hiss)), -15.0, 1.0);
  controller_->setParamNormalized(kAmountId, 0.0);
  process(hiss);  // glides there
  EXPECT_EQ(process(hiss), hiss);
  controller_->setParamNormalized(kAmountId, 1.0);
  process(hiss);
  EXPECT_NEAR(gainDb(process(hiss)), -30.0, 1.5);
  controller_->setParamNormalized(kThresholdId, 0.0);
  process(hiss);
  EXPECT_NEAR(gainDb(process(hiss)), 0.0, 0.1);
}

TEST_F(OmbrelModule, ActivationBeginsAfresh) {
  Samples hiss(4800);
  AddHiss(hiss, -60.0);
  const Samples first = process(hiss);
  Samples tone(1005);
  AddSine(tone, 48000.0, 440.0, -20.0);
  process(tone);
  component_->setActive(0);
  component_->setActive(1);
  EXPECT_EQ(process(hiss), first);

  // With the values of that moment, not gliding there.
  controller_->setParamNormalized(kAmountId, 0.0);
  component_->setActive(1);
  EXPECT_EQ(process(hiss), hiss);
}

TEST_F(OmbrelModule, BlocksWithPartsMissing) {
  std::array<Sample32, 64> samples;
  Sample32* channel = samples.data();
  Sample32* nothing = nullptr;
  AudioBusBuffers whole;
  whole.numChannels = 1;
  whole.channelBuffers32 = &channel;
  for (const auto& [channels, buffers] : {std::pair(1, &nothing), {1, nullptr}, {0, &channel}}) {
    AudioBusBuffers missing;
    missing.numChannels = channels;
    missing.channelBuffers32 = buffers;
    ProcessData data;
    data.numSamples = 64;
    data.numInputs = data.numOutputs = 1;
    data.inputs = &whole;
    data.outputs = &missing;
    samples.fill(0.5F);
    EXPECT_EQ(processor_->process(data), kResultOk);
    EXPECT_EQ(samples[63], 0.5F);
    std::swap(data.inputs, data.outputs);
    EXPECT_EQ(processor_->process(data), kResultOk);
    EXPECT_EQ(samples, (std::array<Sample32, 64>{}));
  }
  ProcessData flush;
  EXPECT_EQ(processor_->process(flush), kResultOk);
}

}  // namespace
}  // namespace tarnwick::ombrel::test
