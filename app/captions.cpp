#include "app/captions.h"

namespace tarnwick::app {

std::wstring HostTitle(const engine::Host& host) {
  return std::wstring(engine::kProgramName) + (host.engine.hostRunning.load() ? L" - Running" : L" - Stopped");
}

std::wstring InstanceCaption(size_t instances) {
  return std::to_wstring(instances) + (instances == 1 ? L" instance" : L" instances");
}

std::wstring DeviceButtonText(const engine::Engine& engine) {
  return engine.asioRunning.load() ? L"ASIO Stop" : L"ASIO Start";
}

}  // namespace tarnwick::app
