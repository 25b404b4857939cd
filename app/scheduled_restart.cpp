#include "app/scheduled_restart.h"

#include <chrono>
#include <utility>

#include "app/application.h"
#include "platform/clock.h"

namespace tarnwick::app {
namespace {

// Whoever sits before the screen or has a page open hears of it.
void warn(Application& app, const std::wstring& text) {
  app.log.add(text);
  app.notice("scheduled-reboot", text);
  if (app.surface.showWarning) {
    app.surface.showWarning(text);
  }
}

// Where the host was stopped for a restart that does not come: better the old sound than none.
void resumeHost(Application& app) {
  if (std::exchange(app.restart.stoppedHost, false) && app.engine.asioRunning.load()) {
    StartHost(app, nullptr, false);
  }
}

system::RebootActions actionsOf(Application& app) {
  system::RebootActions actions;
  actions.showWarning = [&app](const std::wstring& text) { warn(app, text); };
  actions.hostRunning = [&app] { return app.engine.hostRunning.load() || app.engine.hostStopping.load(); };
  actions.stopHost = [&app] {
    app.restart.stoppedHost = true;
    StopHost(app);
  };
  actions.closing = [&app] { return app.ending.begun; };
  actions.restartPc = [&app] {
    SaveAtEnd(app);
    if (app.power.restart()) {
      return true;
    }
    app.notice("scheduled-reboot", L"The scheduled restart failed; see the log.");
    resumeHost(app);
    return false;
  };
  actions.diagnose = [&app](std::wstring_view text) { app.log.add(std::wstring(text)); };
  return actions;
}

}  // namespace

void StartSchedule(Application& app) {
  app.ui.startTimer(std::chrono::milliseconds(system::kRebootCheckMilliseconds),
                    [&app] { CheckSchedule(app, platform::LocalWallTime()); });
}

void CheckSchedule(Application& app, system::LocalTime now) {
  system::CheckScheduledReboot(app.restart.schedule, app.preferences.scheduleReboot,
                               static_cast<int32_t>(app.preferences.restartTime.count()), now, actionsOf(app));
}

void RestartIfStopped(Application& app) {
  if (!app.engine.hostRunning.load() && !app.engine.hostStopping.load()) {
    system::RequestRestartAfterStop(app.restart.schedule, actionsOf(app));
  }
}

}  // namespace tarnwick::app
