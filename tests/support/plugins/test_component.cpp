#include "test_component.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "class_ids.h"

namespace tarnwick::test_plugin {

namespace Vst = Steinberg::Vst;
using Steinberg::FUnknown;
using Steinberg::int32;
using Steinberg::kResultOk;
using Steinberg::tresult;

namespace {

std::string onOff(Steinberg::TBool state) {
  return state != 0 ? " true" : " false";
}

std::string sideOf(Vst::BusDirection direction) {
  return direction == Vst::kInput ? " input " : " output ";
}

}  // namespace

tresult PLUGIN_API TestComponent::queryInterface(const Steinberg::TUID interfaceId, void** object) {
  *object = nullptr;
  if (isId(interfaceId, FUnknown::iid) || isId(interfaceId, Steinberg::IPluginBase::iid) ||
      isId(interfaceId, Vst::IComponent::iid)) {
    *object = static_cast<Vst::IComponent*>(this);
  } else if (isId(interfaceId, Vst::IAudioProcessor::iid)) {
    Log("component.query processor");
    if (!Fails("processor")) {
      *object = static_cast<Vst::IAudioProcessor*>(this);
    }
  } else if (isId(interfaceId, Vst::IConnectionPoint::iid) && !Does("component-unconnectable")) {
    *object = static_cast<Vst::IConnectionPoint*>(this);
  } else if (isId(interfaceId, Vst::IEditController::iid) && !Does("separate-controller") && !Does("no-controller")) {
    *object = static_cast<Vst::IEditController*>(this);
  }
  if (*object == nullptr) {
    return Steinberg::kNoInterface;
  }
  add();
  return kResultOk;
}

tresult PLUGIN_API TestComponent::initialize(FUnknown* context) {
  Log(context == nullptr ? "component.initialize null" : "component.initialize context");
  return resultOf(Fails("initialize"));
}

tresult PLUGIN_API TestComponent::terminate() {
  Log("component.terminate");
  return resultOf(Fails("terminate"));
}

tresult PLUGIN_API TestComponent::getControllerClassId(Steinberg::TUID classId) {
  Log("component.getControllerClassId");
  if (!Does("separate-controller") && !Does("names-absent-controller")) {
    return Steinberg::kNotImplemented;
  }
  kControllerClassId.toTUID(classId);
  return kResultOk;
}

int32 PLUGIN_API TestComponent::getBusCount(Vst::MediaType type, Vst::BusDirection /*direction*/) {
  return type == Vst::kAudio ? 1 : 0;
}

tresult PLUGIN_API TestComponent::getBusInfo(Vst::MediaType type, Vst::BusDirection direction, int32 index,
                                             Vst::BusInfo& info) {
  if (type != Vst::kAudio || index != 0 || Does("tells-no-bus-info")) {
    return Steinberg::kInvalidArgument;
  }
  info = {};
  info.mediaType = type;
  info.direction = direction;
  info.channelCount = direction == Vst::kInput ? inputs_ : outputs_;
  return kResultOk;
}

tresult PLUGIN_API TestComponent::activateBus(Vst::MediaType type, Vst::BusDirection direction, int32 index,
                                              Steinberg::TBool state) {
  Log("component.activateBus " + std::string(type == Vst::kAudio ? "audio" : "event") + sideOf(direction) +
      std::to_string(index) + onOff(state));
  return resultOf(Fails("activate-bus"));
}

tresult PLUGIN_API TestComponent::setActive(Steinberg::TBool state) {
  Log("component.setActive" + onOff(state));
  return resultOf(Fails("set-active"));
}

tresult PLUGIN_API TestComponent::setBusArrangements(Vst::SpeakerArrangement* inputs, int32 inputCount,
                                                     Vst::SpeakerArrangement* outputs, int32 outputCount) {
  const bool mono = inputCount == 1 && outputCount == 1 && inputs[0] == 0x80000 && outputs[0] == 0x80000;
  Log(mono ? "processor.setBusArrangements mono" : "processor.setBusArrangements other");
  return resultOf(inputs_ != 1 || outputs_ != 1);
}

tresult PLUGIN_API TestComponent::getBusArrangement(Vst::BusDirection direction, int32 index,
                                                    Vst::SpeakerArrangement& speakers) {
  if (index != 0) {
    return Steinberg::kInvalidArgument;
  }
  const int32 channels = std::clamp(direction == Vst::kInput ? inputs_ : outputs_, 0, 63);
  speakers = (Vst::SpeakerArrangement{1} << channels) - 1;
  return kResultOk;
}

tresult PLUGIN_API TestComponent::setupProcessing(Vst::ProcessSetup& setup) {
  char text[120];
  std::snprintf(text, sizeof text, "processor.setupProcessing mode=%d size=%d block=%d rate=%g", setup.processMode,
                setup.symbolicSampleSize, setup.maxSamplesPerBlock, setup.sampleRate);
  Log(text);
  return resultOf(Fails("setup"));
}

tresult PLUGIN_API TestComponent::setProcessing(Steinberg::TBool state) {
  Log("processor.setProcessing" + onOff(state));
  return resultOf(Fails("set-processing"));
}

// Trusts its own channel counts, as effects do, up to what the host says it has given.
tresult PLUGIN_API TestComponent::process(Vst::ProcessData& data) {
  if (processThrows_) {
    throw std::runtime_error("the test effect throws");
  }
  const auto plain = static_cast<float>(gain.value());
  const int32 inputs = std::max(std::min(inputs_, data.inputs[0].numChannels), 1);
  const int32 outputs = outputs_ > 1000 ? data.outputs[0].numChannels : std::max(outputs_, 1);
  for (int32 channel = 0; channel < outputs; ++channel) {
    const float* in = data.inputs[0].channelBuffers32[std::min(channel, inputs - 1)];
    float* out = data.outputs[0].channelBuffers32[channel];
    const float factor = plain * static_cast<float>(channel + 1);  // only the first channel has the plain gain
    for (int32 k = 0; k < data.numSamples; ++k) {
      out[k] += in[k] * factor;  // on top of what is there: the host must hand out silence
    }
  }
  if (claimsSilence_) {
    data.outputs[0].silenceFlags = 1;
  }
  return resultOf(processFails_);
}

tresult PLUGIN_API TestComponent::connect(Vst::IConnectionPoint* other) {
  Log(other != nullptr ? "component.connect" : "component.connect null");
  return resultOf(Fails("component-connect"));
}

tresult PLUGIN_API TestComponent::disconnect(Vst::IConnectionPoint* /*other*/) {
  Log("component.disconnect");
  return kResultOk;
}

}  // namespace tarnwick::test_plugin
