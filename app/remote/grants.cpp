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
  const system::SteeringReport report = system::ReportSteering(app.steering);
  grants.processRefused = report.processRefused;
  for (size_t k = 0; k < system::kSteeringGroups; ++k) {
    const system::GroupProcessors& group = report.groups[k];
    grants.groups[k] = {group.running != 0 ? system::MaskText(group.running) : std::wstring(), group.refused};
  }
  const engine::GrantedScheduling& granted = app.engine.granted;
  addRealtime(grants, L"Audio callback", granted.callback.load(), granted.callbackValue.load());
  addRealtime(grants, L"Engine workers", granted.workers.load(), granted.workersValue.load());
}

}  // namespace tarnwick::app
