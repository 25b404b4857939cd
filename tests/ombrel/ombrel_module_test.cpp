// What the module shows a host, and the effect's life and processing.
#include <atomic>
#include <limits>
#include <thread>

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
  void* object = this;
  EXPECT_NE(factory_->createInstance(IComponent::iid.toTUID(), IComponent::iid.toTUID(), &object), kResultOk);
  EXPECT_EQ(object, nullptr);
  EXPECT_NE(factory_->createInstance(state_.classId, IPluginFactory::iid.toTUID(), &object), kResultOk);
  EXPECT_EQ(object, nullptr);
}

TEST_F(OmbrelModule, EveryInterfaceLeadsToTheSameObject) {
  for (FUnknown* const side : {static_cast<FUnknown*>(processor_), static_cast<FUnknown*>(controller_)}) {
    auto* const identity = interfaceOf<FUnknown>(side);
    EXPECT_EQ(identity, interfaceOf<FUnknown>(component_));
    identity->release();
    identity->release();
  }
  void* object = this;
  EXPECT_EQ(component_->queryInterface(IPluginFactory::iid.toTUID(), &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
}

TEST_F(OmbrelModule, TakesMonoOnly) {
  SpeakerArrangement mono[] = {SpeakerArr::kMono, SpeakerArr::kMono};
  SpeakerArrangement stereo[] = {SpeakerArr::kStereo};
  EXPECT_EQ(processor_->setBusArrangements(mono, 1, mono, 1), kResultTrue);
  EXPECT_EQ(processor_->setBusArrangements(mono, 1, stereo, 1), kResultFalse);
  EXPECT_EQ(processor_->setBusArrangements(stereo, 1, mono, 1), kResultFalse);
  EXPECT_EQ(processor_->setBusArrangements(mono, 2, mono, 1), kResultFalse);
  EXPECT_EQ(processor_->setBusArrangements(nullptr, 0, mono, 1), kResultFalse);
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
  ParameterChange toZero(kAmountId, {1.0, 0.7, 0.0});  // the last point is the one that stays
  process(hiss, &toZero);
  EXPECT_EQ(controller_->getParamNormalized(kAmountId), 0.0);
  EXPECT_EQ(process(hiss), hiss);
  controller_->setParamNormalized(kAmountId, 1.0);
  process(hiss);
  EXPECT_NEAR(gainDb(process(hiss)), -30.0, 1.5);
  ParameterChange unknown(77, {0.3});
  ParameterChange empty(kAmountId, {});
  process(hiss, &unknown);
  EXPECT_NEAR(gainDb(process(hiss, &empty)), -30.0, 1.5);
  ParameterChange threshold(kThresholdId, {0.0});
  process(hiss, &threshold);
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
  std::array<Sample32, 64> samples = {};
  Sample32* channel = samples.data();
  Sample32* nothing = nullptr;
  const auto bus = [](int32 channels, Sample32** buffers) {
    AudioBusBuffers made;
    made.numChannels = channels;
    made.channelBuffers32 = buffers;
    return made;
  };
  for (AudioBusBuffers missing : {bus(1, &nothing), bus(1, nullptr), bus(0, &channel)}) {
    AudioBusBuffers whole = bus(1, &channel);
    samples.fill(0.5F);
    controller_->setParamNormalized(kAmountId, 0.5);
    ParameterChange change(kAmountId, {0.125});
    ProcessData data;
    data.numSamples = 64;
    data.numInputs = data.numOutputs = 1;
    data.inputs = &whole;
    data.outputs = &missing;
    data.inputParameterChanges = &change;
    EXPECT_EQ(processor_->process(data), kResultOk);
    EXPECT_EQ(controller_->getParamNormalized(kAmountId), 0.125);
    EXPECT_EQ(samples[63], 0.5F);
    data.inputs = &missing;
    data.outputs = &whole;
    EXPECT_EQ(processor_->process(data), kResultOk);
    EXPECT_EQ(samples, (std::array<Sample32, 64>{}));
    EXPECT_EQ(whole.silenceFlags, 1U);
  }
  ProcessData flush;
  EXPECT_EQ(processor_->process(flush), kResultOk);
}

// Meant for the thread sanitizer; the sound must stay between silence and the input whatever is turned.
TEST_F(OmbrelModule, ControllerMayTurnParametersWhileProcessing) {
  std::atomic<bool> stop = false;
  std::thread user([&] {
    for (uint32_t i = 0; !stop.load(); ++i) {
      controller_->setParamNormalized(i % 3, static_cast<double>(i % 11) / 10.0);
      MemoryStream stream;
      component_->getState(&stream);
      component_->setState(&stream);
    }
  });
  const Samples input = Words(2);
  const Samples output = process(input);
  stop.store(true);
  user.join();
  for (size_t i = 0; i < input.size(); ++i) {
    ASSERT_LE(std::abs(output[i]), std::abs(input[i]));
  }
}

}  // namespace
}  // namespace tarnwick::ombrel::test
