#include "plugin/connection.h"

#include "plugin/guarded_call.h"
#include "plugin/trace_failure.h"

namespace tarnwick::plugin {
namespace {

using Steinberg::kResultOk;
using Steinberg::Vst::IConnectionPoint;

void disconnectBothWays(PluginInstance& instance) {
  if (instance.componentConnection != nullptr && instance.controllerConnection != nullptr) {
    guarded([&] { return instance.componentConnection->disconnect(instance.controllerConnection); });
    guarded([&] { return instance.controllerConnection->disconnect(instance.componentConnection); });
  }
}

void releaseBoth(PluginInstance& instance) {
  releaseReference(instance.componentConnection);
  releaseReference(instance.controllerConnection);
}

}  // namespace

bool ConnectController(PluginInstance& instance, const std::wstring& path) {
  if (instance.controllerIsComponent) {
    return true;
  }
  instance.componentConnection = queryFor<IConnectionPoint>(instance.component);
  instance.controllerConnection = queryFor<IConnectionPoint>(instance.controller);
  if (instance.componentConnection == nullptr || instance.controllerConnection == nullptr) {
    TraceFailure(path, L"VST3 IConnectionPoint unavailable; editor may not initialize.");
    releaseBoth(instance);
    return true;
  }
  const auto connect = [](IConnectionPoint* from, IConnectionPoint* to) {
    return guarded([&] { return from->connect(to); }) == kResultOk;
  };
  // Both directions are tried even when the first is refused.
  const bool toController = connect(instance.componentConnection, instance.controllerConnection);
  const bool toComponent = connect(instance.controllerConnection, instance.componentConnection);
  if (toController && toComponent) {
    instance.connected = true;
    return true;
  }
  TraceFailure(path, L"VST3 component/controller connect failed.");
  disconnectBothWays(instance);
  releaseBoth(instance);
  return false;
}

void DisconnectController(PluginInstance& instance) {
  if (!instance.connected) {
    return;
  }
  disconnectBothWays(instance);
  releaseBoth(instance);
  instance.connected = false;
}

}  // namespace tarnwick::plugin
