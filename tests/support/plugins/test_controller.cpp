#include "test_controller.h"

namespace tarnwick::test_plugin {

using Steinberg::FUnknown;
using Steinberg::kResultOk;
using Steinberg::tresult;
using Steinberg::Vst::IConnectionPoint;
using Steinberg::Vst::IEditController;

tresult PLUGIN_API TestController::queryInterface(const Steinberg::TUID interfaceId, void** object) {
  *object = nullptr;
  if (isId(interfaceId, FUnknown::iid) || isId(interfaceId, Steinberg::IPluginBase::iid) ||
      isId(interfaceId, IEditController::iid)) {
    *object = static_cast<IEditController*>(this);
  } else if (isId(interfaceId, IConnectionPoint::iid) && !Does("controller-unconnectable")) {
    *object = static_cast<IConnectionPoint*>(this);
  } else {
    return Steinberg::kNoInterface;
  }
  add();
  return kResultOk;
}

tresult PLUGIN_API TestController::initialize(FUnknown* context) {
  Log(context == nullptr ? "controller.initialize null" : "controller.initialize context");
  return resultOf(Fails("controller-initialize"));
}

tresult PLUGIN_API TestController::terminate() {
  Log("controller.terminate");
  return kResultOk;
}

tresult PLUGIN_API TestController::connect(IConnectionPoint* other) {
  Log(other != nullptr ? "controller.connect" : "controller.connect null");
  return resultOf(Fails("controller-connect"));
}

tresult PLUGIN_API TestController::disconnect(IConnectionPoint* /*other*/) {
  Log("controller.disconnect");
  return kResultOk;
}

}  // namespace tarnwick::test_plugin
