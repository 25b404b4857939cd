// An audio processor in the test's own program: what it does to a block is a function.
#pragma once

#include <functional>

#include "plugin/plugin_instance.h"

namespace tarnwick::tests {

class FakeProcessor : public Steinberg::Vst::IAudioProcessor {
 public:
  using Process = std::function<Steinberg::tresult(Steinberg::Vst::ProcessData&)>;
  explicit FakeProcessor(Process process) : process_(std::move(process)) {}
  virtual ~FakeProcessor() = default;

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID, void**) override {
    return Steinberg::kNoInterface;
  }
  Steinberg::uint32 PLUGIN_API addRef() override { return 1; }
  Steinberg::uint32 PLUGIN_API release() override { return 1; }
  Steinberg::tresult PLUGIN_API setBusArrangements(Steinberg::Vst::SpeakerArrangement*, Steinberg::int32,
                                                   Steinberg::Vst::SpeakerArrangement*, Steinberg::int32) override {
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API getBusArrangement(Steinberg::Vst::BusDirection, Steinberg::int32,
                                                  Steinberg::Vst::SpeakerArrangement&) override {
    return Steinberg::kResultFalse;
  }
  Steinberg::tresult PLUGIN_API canProcessSampleSize(Steinberg::int32) override { return Steinberg::kResultOk; }
  Steinberg::uint32 PLUGIN_API getLatencySamples() override { return 0; }
  Steinberg::tresult PLUGIN_API setupProcessing(Steinberg::Vst::ProcessSetup&) override { return Steinberg::kResultOk; }
  Steinberg::tresult PLUGIN_API setProcessing(Steinberg::TBool) override { return Steinberg::kResultOk; }
  Steinberg::tresult PLUGIN_API process(Steinberg::Vst::ProcessData& data) override { return process_(data); }
  Steinberg::uint32 PLUGIN_API getTailSamples() override { return 0; }

 private:
  Process process_;
};

// A record as instance creation wires it, around a processor of the test's.
struct FakeEffect {
  FakeProcessor processor;
  plugin::PluginInstance instance;

  FakeEffect(int32_t maximumBlock, FakeProcessor::Process process) : processor(std::move(process)) {
    instance.processor = &processor;
    instance.inputBuffer.assign(static_cast<size_t>(maximumBlock), 0.0f);
    instance.outputBuffer.assign(static_cast<size_t>(maximumBlock), 0.0f);
    instance.inputChannel = instance.inputBuffer.data();
    instance.outputChannel = instance.outputBuffer.data();
    for (auto* bus : {&instance.inputBus, &instance.outputBus}) {
      bus->numChannels = 1;
      bus->silenceFlags = 0;
    }
    instance.inputBus.channelBuffers32 = &instance.inputChannel;
    instance.outputBus.channelBuffers32 = &instance.outputChannel;
    instance.processData.numInputs = 1;
    instance.processData.numOutputs = 1;
    instance.processData.inputs = &instance.inputBus;
    instance.processData.outputs = &instance.outputBus;
  }
};

// Multiplies by `factor`.
inline FakeProcessor::Process MultiplyBy(float factor) {
  return [factor](Steinberg::Vst::ProcessData& data) {
    for (Steinberg::int32 k = 0; k < data.numSamples; ++k) {
      data.outputs[0].channelBuffers32[0][k] = data.inputs[0].channelBuffers32[0][k] * factor;
    }
    return Steinberg::tresult{Steinberg::kResultOk};
  };
}

}  // namespace tarnwick::tests
