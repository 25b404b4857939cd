// The processor's side: arrangement, set-up and the audio block.
#include <algorithm>
#include <cmath>

#include "ombrel/ombrel_component.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/vstspeaker.h"

namespace tarnwick::ombrel {

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

// The first bus's first channel; null where a host gives none.
Sample32* monoChannel(const AudioBusBuffers* buses, int32 busCount) {
  if (buses == nullptr || busCount < 1 || buses[0].numChannels < 1 || buses[0].channelBuffers32 == nullptr) {
    return nullptr;
  }
  return buses[0].channelBuffers32[0];
}

}  // namespace

tresult PLUGIN_API OmbrelComponent::setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                                       SpeakerArrangement* outputs, int32 numOuts) {
  const bool mono = inputs != nullptr && outputs != nullptr && numIns == 1 && numOuts == 1 &&
                    inputs[0] == SpeakerArr::kMono && outputs[0] == SpeakerArr::kMono;
  return mono ? kResultTrue : kResultFalse;
}

tresult PLUGIN_API OmbrelComponent::getBusArrangement(BusDirection dir, int32 index, SpeakerArrangement& arrangement) {
  if ((dir != kInput && dir != kOutput) || index != 0) {
    return kInvalidArgument;
  }
  arrangement = SpeakerArr::kMono;
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::canProcessSampleSize(int32 symbolicSampleSize) {
  return symbolicSampleSize == kSample32 ? kResultTrue : kResultFalse;
}

uint32 PLUGIN_API OmbrelComponent::getLatencySamples() {
  return 0;
}

uint32 PLUGIN_API OmbrelComponent::getTailSamples() {
  return kNoTail;
}

tresult PLUGIN_API OmbrelComponent::setupProcessing(ProcessSetup& setup) {
  if (setup.symbolicSampleSize != kSample32 || !std::isfinite(setup.sampleRate) || setup.sampleRate <= 0.0) {
    return kResultFalse;
  }
  sampleRate_ = setup.sampleRate;
  expander_.prepare(sampleRate_);
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::setProcessing(TBool /*state*/) {
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::process(ProcessData& data) {
  takeParameterChanges(data.inputParameterChanges);
  updateTarget();
  if (data.symbolicSampleSize != kSample32) {
    return kInvalidArgument;
  }
  Sample32* const output = monoChannel(data.outputs, data.numOutputs);
  if (data.numSamples <= 0 || output == nullptr) {
    return kResultOk;
  }
  const auto count = static_cast<size_t>(data.numSamples);
  const Sample32* const input = monoChannel(data.inputs, data.numInputs);
  if (input == nullptr) {
    std::fill_n(output, count, 0.0F);
    data.outputs[0].silenceFlags = 1;
    return kResultOk;
  }
  expander_.process(input, output, count);
  data.outputs[0].silenceFlags = data.inputs[0].silenceFlags & 1;  // a gain makes silence of silence
  return kResultOk;
}

// The last point of each queue: the settings glide anyway, and over a longer time than a block.
void OmbrelComponent::takeParameterChanges(IParameterChanges* changes) {
  if (changes == nullptr) {
    return;
  }
  const int32 queueCount = changes->getParameterCount();
  for (int32 i = 0; i < queueCount; ++i) {
    IParamValueQueue* const queue = changes->getParameterData(i);
    if (queue == nullptr) {
      continue;
    }
    int32 offset = 0;
    ParamValue value = 0.0;
    const int32 pointCount = queue->getPointCount();
    if (pointCount > 0 && queue->getPoint(pointCount - 1, offset, value) == kResultOk) {
      setParamNormalized(queue->getParameterId(), value);
    }
  }
}

void OmbrelComponent::updateTarget() {
  const NormalizedValues values = currentValues();
  if (values != appliedValues_) {
    appliedValues_ = values;
    expander_.setTarget(ToSettings(values));
  }
}

}  // namespace tarnwick::ombrel
