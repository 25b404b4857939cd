#include "app/remote/grants.h"

#include "app/reports.h"
#include "system/priority.h"

namespace tarnwick::app {
namespace {

// Of threads that have asked for real-time scheduling; `grant` is -1 while none has.
void addRealtime(remote::RemoteGrants& grants, const wchar_t* work, int32_t grant, int32_t value) {
  if (grant >= 0) {
    const auto granted = static_cast<platform::RealtimeGrant>(grant);
    const bool met = granted == platform::RealtimeGrant::fifo || granted == platform::RealtimeGrant::mmcss;
    grants.priorities.push_back({work, L"real-time scheduling", GrantText(grant, value), met});
  }
}

}  // namespace

void FillRemoteGrants(const Application& app, remote::RemoteGrants& grants) {
  const SystemControl& control = app.systemControl;
  grants.processRefused = control.processRefused;
  grants.groups[static_cast<size_t>(system::SteeringGroup::networkUi)].refused =
      control.uiThread.generation != 0 && !control.uiThread.granted;
  const engine::GrantedScheduling& granted = app.engine.granted;
  addRealtime(grants, L"Audio callback", granted.callback.load(), granted.callbackValue.load());
  addRealtime(grants, L"Engine workers", granted.workers.load(), granted.workersValue.load());
}

}  // namespace tarnwick::app
