#include "plugin/component_handler.h"

#include <cstring>

namespace tarnwick::plugin {

using Steinberg::int32;
using Steinberg::kResultOk;
using Steinberg::tresult;
using Steinberg::TUID;
using Steinberg::uint32;
using Steinberg::Vst::ParamID;
using Steinberg::Vst::ParamValue;

tresult PLUGIN_API HostComponentHandler::queryInterface(const TUID interfaceId, void** object) {
  if (object == nullptr) {
    return Steinberg::kInvalidArgument;
  }
  const auto is = [interfaceId](const Steinberg::FUID& known) {
    return std::memcmp(interfaceId, known.toTUID(), sizeof(TUID)) == 0;
  };
  if (is(Steinberg::FUnknown::iid) || is(Steinberg::Vst::IComponentHandler::iid)) {
    addRef();
    *object = static_cast<Steinberg::Vst::IComponentHandler*>(this);
    return kResultOk;
  }
  *object = nullptr;
  return Steinberg::kNoInterface;
}

uint32 PLUGIN_API HostComponentHandler::addRef() {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

uint32 PLUGIN_API HostComponentHandler::release() {
  const uint32 left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    delete this;
  }
  return left;
}

tresult PLUGIN_API HostComponentHandler::beginEdit(ParamID /*id*/) {
  return kResultOk;
}

tresult PLUGIN_API HostComponentHandler::performEdit(ParamID /*id*/, ParamValue /*normalized*/) {
  return kResultOk;
}

tresult PLUGIN_API HostComponentHandler::endEdit(ParamID /*id*/) {
  return kResultOk;
}

tresult PLUGIN_API HostComponentHandler::restartComponent(int32 /*flags*/) {
  return kResultOk;
}

}  // namespace tarnwick::plugin
