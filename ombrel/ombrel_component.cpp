// Life, buses and saved state.
#include "ombrel/ombrel_component.h"

#include "ombrel/ascii_text.h"

namespace tarnwick::ombrel {

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

bool isOnlyBus(MediaType type, BusDirection dir, int32 index) {
  return type == kAudio && (dir == kInput || dir == kOutput) && index == 0;
}

// Streams may move fewer bytes than asked; a call that fails or moves none ends the attempt.
bool readAll(IBStream& stream, StateBytes& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    int32 moved = 0;
    const auto wanted = static_cast<int32>(bytes.size() - done);
    if (stream.read(bytes.data() + done, wanted, &moved) != kResultOk || moved <= 0 || moved > wanted) {
      return false;
    }
    done += static_cast<size_t>(moved);
  }
  return true;
}

bool writeAll(IBStream& stream, StateBytes bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    int32 moved = 0;
    const auto wanted = static_cast<int32>(bytes.size() - done);
    if (stream.write(bytes.data() + done, wanted, &moved) != kResultOk || moved <= 0 || moved > wanted) {
      return false;
    }
    done += static_cast<size_t>(moved);
  }
  return true;
}

}  // namespace

OmbrelComponent::OmbrelComponent() : appliedValues_(StandardValues()) {
  for (size_t id = 0; id < kParameterCount; ++id) {
    values_[id].store(appliedValues_[id], std::memory_order_relaxed);
  }
  expander_.setTarget(ToSettings(appliedValues_));
}

tresult PLUGIN_API OmbrelComponent::queryInterface(const TUID interfaceId, void** object) {
  if (object == nullptr) {
    return kInvalidArgument;
  }
  if (FUnknownPrivate::iidEqual(interfaceId, FUnknown::iid) ||
      FUnknownPrivate::iidEqual(interfaceId, IPluginBase::iid) ||
      FUnknownPrivate::iidEqual(interfaceId, IComponent::iid)) {
    *object = static_cast<IComponent*>(this);
  } else if (FUnknownPrivate::iidEqual(interfaceId, IAudioProcessor::iid)) {
    *object = static_cast<IAudioProcessor*>(this);
  } else if (FUnknownPrivate::iidEqual(interfaceId, IEditController::iid)) {
    *object = static_cast<IEditController*>(this);
  } else {
    *object = nullptr;
    return kNoInterface;
  }
  addRef();
  return kResultOk;
}

uint32 PLUGIN_API OmbrelComponent::addRef() {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

uint32 PLUGIN_API OmbrelComponent::release() {
  const uint32 left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    delete this;
  }
  return left;
}

// Nothing of the host is kept, so there is nothing to take here and nothing to give back in terminate.
tresult PLUGIN_API OmbrelComponent::initialize(FUnknown* /*context*/) {
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::terminate() {
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::getControllerClassId(TUID /*classId*/) {
  return kNotImplemented;
}

tresult PLUGIN_API OmbrelComponent::setIoMode(IoMode /*mode*/) {
  return kNotImplemented;
}

int32 PLUGIN_API OmbrelComponent::getBusCount(MediaType type, BusDirection dir) {
  return isOnlyBus(type, dir, 0) ? 1 : 0;
}

tresult PLUGIN_API OmbrelComponent::getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) {
  if (!isOnlyBus(type, dir, index)) {
    return kInvalidArgument;
  }
  bus = {};
  bus.mediaType = kAudio;
  bus.direction = dir;
  bus.channelCount = 1;
  CopyAscii(dir == kInput ? "Input" : "Output", bus.name);
  bus.busType = kMain;
  bus.flags = BusInfo::kDefaultActive;
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::getRoutingInfo(RoutingInfo& in, RoutingInfo& out) {
  if (!isOnlyBus(in.mediaType, kInput, in.busIndex)) {
    return kInvalidArgument;
  }
  out = in;
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::activateBus(MediaType type, BusDirection dir, int32 index, TBool /*state*/) {
  return isOnlyBus(type, dir, index) ? kResultOk : kInvalidArgument;
}

tresult PLUGIN_API OmbrelComponent::setActive(TBool state) {
  if (state != 0) {
    updateTarget();
    expander_.prepare(sampleRate_);
  }
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::setState(IBStream* stream) {
  StateBytes bytes = {};
  if (stream == nullptr) {
    return kInvalidArgument;
  }
  if (!readAll(*stream, bytes)) {
    return kResultFalse;
  }
  const auto values = DecodeState(bytes);
  if (!values) {
    return kResultFalse;
  }
  for (size_t id = 0; id < kParameterCount; ++id) {
    values_[id].store((*values)[id], std::memory_order_relaxed);
  }
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::getState(IBStream* stream) {
  if (stream == nullptr) {
    return kInvalidArgument;
  }
  return writeAll(*stream, EncodeState(currentValues())) ? kResultOk : kResultFalse;
}

tresult PLUGIN_API OmbrelComponent::setComponentState(IBStream* stream) {
  return setState(stream);
}

NormalizedValues OmbrelComponent::currentValues() const {
  NormalizedValues values = {};
  for (size_t id = 0; id < kParameterCount; ++id) {
    values[id] = values_[id].load(std::memory_order_relaxed);
  }
  return values;
}

}  // namespace tarnwick::ombrel
