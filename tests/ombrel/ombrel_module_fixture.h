// The built module, loaded as a host loads it: factory, one active effect at 48 kHz, and its interfaces.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/module.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "signals.h"
#include "vst3_fakes.h"

namespace tarnwick::ombrel::test {

constexpr Steinberg::Vst::ParamID kAmountId = 0;
constexpr Steinberg::Vst::ParamID kThresholdId = 1;
constexpr Steinberg::Vst::ParamID kReleaseId = 2;

class OmbrelModule : public testing::Test {
 protected:
  void SetUp() override {
    std::wstring reason;
    module_ = platform::Module::Load(std::filesystem::path(OMBREL_MODULE).wstring(), &reason);
    ASSERT_NE(module_, nullptr) << std::filesystem::path(reason);
    const auto getFactory = reinterpret_cast<GetFactoryProc>(module_->symbol("GetPluginFactory"));
    ASSERT_NE(getFactory, nullptr);
    factory_ = getFactory();
    ASSERT_EQ(factory_->getClassInfo(0, &class_), Steinberg::kResultOk);
    void* object = nullptr;
    ASSERT_EQ(factory_->createInstance(class_.cid, Steinberg::Vst::IComponent::iid.toTUID(), &object),
              Steinberg::kResultOk);
    component_ = static_cast<Steinberg::Vst::IComponent*>(object);
    processor_ = interfaceOf<Steinberg::Vst::IAudioProcessor>(component_);
    controller_ = interfaceOf<Steinberg::Vst::IEditController>(component_);
    ASSERT_TRUE(processor_ != nullptr && controller_ != nullptr);
    ASSERT_EQ(component_->initialize(nullptr), Steinberg::kResultOk);
    Steinberg::Vst::ProcessSetup setup = {Steinberg::Vst::kRealtime, Steinberg::Vst::kSample32, 512, 48000.0};
    ASSERT_EQ(processor_->setupProcessing(setup), Steinberg::kResultOk);
    ASSERT_EQ(component_->setActive(1), Steinberg::kResultOk);
  }

  // The last reference must be the last: the effect is then gone, and the module may go.
  void TearDown() override {
    component_->setActive(0);
    component_->terminate();
    EXPECT_EQ(processor_->release(), 2U);
    EXPECT_EQ(controller_->release(), 1U);
    EXPECT_EQ(component_->release(), 0U);
    EXPECT_EQ(factory_->release(), 0U);
  }

  template <typename Interface>
  static Interface* interfaceOf(Steinberg::FUnknown* object) {
    void* found = nullptr;
    return object->queryInterface(Interface::iid.toTUID(), &found) == Steinberg::kResultOk
               ? static_cast<Interface*>(found)
               : nullptr;
  }

  // In blocks of 100, in place; the changes go with the first block.
  Samples process(Samples samples, Steinberg::Vst::IParameterChanges* changes = nullptr) {
    for (size_t done = 0; done < samples.size(); done += 100) {
      Steinberg::Vst::Sample32* channel = &samples[done];
      Steinberg::Vst::AudioBusBuffers bus;
      bus.numChannels = 1;
      bus.channelBuffers32 = &channel;
      Steinberg::Vst::AudioBusBuffers outputBus = bus;
      Steinberg::Vst::ProcessData data;
      data.numSamples = static_cast<Steinberg::int32>(std::min<size_t>(100, samples.size() - done));
      data.numInputs = data.numOutputs = 1;
      data.inputs = &bus;
      data.outputs = &outputBus;
      data.inputParameterChanges = done == 0 ? changes : nullptr;
      EXPECT_EQ(processor_->process(data), Steinberg::kResultOk);
    }
    return samples;
  }

  std::vector<uint8_t> savedState() {
    MemoryStream stream;
    EXPECT_EQ(component_->getState(&stream), Steinberg::kResultOk);
    return stream.bytes;
  }

  std::array<double, 3> values() {
    return {controller_->getParamNormalized(kAmountId), controller_->getParamNormalized(kThresholdId),
            controller_->getParamNormalized(kReleaseId)};
  }

  std::string textOf(Steinberg::Vst::ParamID id, double normalized) {
    Steinberg::Vst::String128 text = {};
    EXPECT_EQ(controller_->getParamStringByValue(id, normalized, text), Steinberg::kResultOk);
    return {text, std::find(text, std::end(text), 0)};
  }

  std::unique_ptr<platform::Module> module_;
  Steinberg::IPluginFactory* factory_ = nullptr;
  Steinberg::PClassInfo class_;
  Steinberg::Vst::IComponent* component_ = nullptr;
  Steinberg::Vst::IAudioProcessor* processor_ = nullptr;
  Steinberg::Vst::IEditController* controller_ = nullptr;
};

}  // namespace tarnwick::ombrel::test
