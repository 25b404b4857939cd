#include "app/system_requests.h"

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

}  // namespace

void RaisePriorities(Application& app) {
  system::ApplyStartPriorities(app.systemControl.processes);
}

void StartSteering(Application& app) {
  SystemControl& control = app.systemControl;
  const SteeringMasks masks = system::ChosenMasks(app.steering);
  system::SteerOwnProcess(control.processes, masks);
  system::ApplyIfChanged(app.steering, SteeringGroup::networkUi, control.uiThread);
  if (othersOf(masks) != 0) {
    control.otherProcesses.request(control.processes, othersOf(masks));
  }
}

void LookAfterThreads(Application& app) {
  system::SteerNewThreads(app.systemControl.processes, system::ChosenMasks(app.steering));
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

void SetEnginePriority(Application& app, int32_t index) {
  app.engine.enginePriority = system::ClampPriorityIndex(index);
  app.changed(Changed::setting);
}

void SetUiPriority(Application& app, int32_t index) {
  app.systemControl.uiPriority = system::ClampPriorityIndex(index);
  app.systemControl.processes.setUiThreadLevel(system::PriorityAt(index).threadPriority);
  app.changed(Changed::setting);
}

void SetAudioPriority(Application& app, int32_t index) {
  app.systemControl.audioPriority = system::ClampPriorityIndex(index);
  app.changed(Changed::setting);
}

void SetNetworkPriority(Application& app, int32_t index) {
  app.systemControl.networkPriority = system::ClampPriorityIndex(index);
  app.changed(Changed::setting);
}

void SetMmcss(Application& app, bool enabled) {
  app.engine.mmcssEnabled = enabled;
  app.changed(Changed::setting);
}

}  // namespace tarnwick::app
