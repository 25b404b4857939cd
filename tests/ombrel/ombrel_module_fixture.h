// The built module as this system's own host loads it: one active effect at 48 kHz.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>

#include "memory_stream.h"
#include "plugin/instance_lifecycle.h"
#include "signals.h"

namespace tarnwick::ombrel::test {

constexpr Steinberg::Vst::ParamID kAmountId = 0;
constexpr Steinberg::Vst::ParamID kThresholdId = 1;
constexpr Steinberg::Vst::ParamID kReleaseId = 2;

class OmbrelModule : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(plugin::LoadModule(state_, std::filesystem::path(OMBREL_MODULE).wstring()));
    instance_ = plugin::CreateInstance(state_, 48000.0, 512);
    ASSERT_NE(instance_, nullptr);
    factory_ = state_.factory;
    component_ = instance_->component;
    processor_ = instance_->processor;
    controller_ = instance_->controller;
    component_->addRef();
  }

  // The last reference must be the last: the effect is then gone, and the module may go.
  void TearDown() override {
    plugin::DestroyInstance(state_, std::move(instance_));
    EXPECT_EQ(component_->release(), 0U);
    factory_->addRef();
    EXPECT_EQ(factory_->release(), 1U);
  }

  // In blocks of 100, in place.
  Samples process(Samples samples) {
    for (size_t done = 0; done < samples.size(); done += 100) {
      plugin::ProcessBlock(instance_.get(), &samples[done], &samples[done],
                           static_cast<int32_t>(std::min<size_t>(100, samples.size() - done)));
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

  plugin::ModuleState state_;
  std::unique_ptr<plugin::PluginInstance> instance_;
  Steinberg::IPluginFactory* factory_ = nullptr;
  Steinberg::Vst::IComponent* component_ = nullptr;
  Steinberg::Vst::IAudioProcessor* processor_ = nullptr;
  Steinberg::Vst::IEditController* controller_ = nullptr;
};

}  // namespace tarnwick::ombrel::test
