#include "app/system_requests.h"

#include <string>
#include <utility>

#include "app/application.h"
#include "engine/pool_control.h"
#include "system/priority.h"

namespace tarnwick::app {
namespace {

using system::SteeringGroup;
using system::SteeringMasks;

uint64_t othersOf(const SteeringMasks& masks) {
  return masks[static_cast<size_t>(SteeringGroup::otherProcesses)];
}

void tellOthers(Application& app) {
  SystemControl& control = app.systemControl;
  const auto counts = control.otherProcesses.last();
  if (!counts || counts == control.toldCounts) {
    return;
  }
  control.toldCounts = counts;
  if (counts->skipped > 0 || counts->failed > 0) {
    app.log.add(L"Processors of the other processes: " + std::to_wstring(counts->set) + L" were given theirs, " +
                std::to_wstring(counts->skipped) + L" may not be changed, the system refused " +
                std::to_wstring(counts->failed) + L".");
  }
}

}  // namespace

void RaisePriorities(Application& app) {
  system::ApplyStartPriorities(app.systemControl.processes);
}

void StartSteering(Application& app) {
  SystemControl& control = app.systemControl;
  const SteeringMasks masks = system::ChosenMasks(app.steering);
  system::SteerOwnProcess(control.processes, app.steering, masks);
  system::ApplyIfChanged(app.steering, SteeringGroup::networkUi, control.uiThread);
  if (othersOf(masks) != 0) {
    control.otherProcesses.request(control.processes, othersOf(masks));
  }
}

void LookAfterThreads(Application& app) {
  system::SteerNewThreads(app.systemControl.processes, system::ChosenMasks(app.steering));
  tellOthers(app);
  std::wstring differences = system::SteeringDifferences(system::ReportSteering(app.steering));
  if (differences != app.systemControl.toldDifferences && !differences.empty()) {
    app.log.add(differences);
  }
  app.systemControl.toldDifferences = std::move(differences);
}

void SetSteering(Application& app, const SteeringMasks& masks) {
  SystemControl& control = app.systemControl;
  const uint64_t othersBefore = othersOf(system::ChosenMasks(app.steering));
  system::ChangeSteering(control.processes, app.steering, masks);
  system::ApplyIfChanged(app.steering, SteeringGroup::networkUi, control.uiThread);
  engine::RefitPool(app.engine);
  if (othersOf(masks) != othersBefore) {
    control.otherProcesses.request(control.processes, othersOf(masks));
  }
  app.changed(Changed::setting);
}

void SetUiPriority(Application& app, int32_t index) {
  app.systemControl.uiPriority = system::ClampPriorityIndex(index);
  const int32_t asked = system::PriorityAt(index).threadPriority;
  const int32_t granted = app.systemControl.processes.setUiThreadLevel(asked);
  if (granted != asked && granted != 0) {  // 0: the system knows no such level
    app.log.add(L"The system gave the user interface priority level " + std::to_wstring(granted) + L", not " +
                std::to_wstring(asked) + L".");
  }
  app.changed(Changed::setting);
}

}  // namespace tarnwick::app
