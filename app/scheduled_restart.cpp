#include "app/scheduled_restart.h"

#include <chrono>
#include <utility>

#include "app/remote/remote.h"
#include "app/settings.h"
#include "platform/clock.h"

namespace tarnwick::app {
namespace {

// Whoever sits before the screen or has a page open hears of it.
void warn(Application& app, const std::wstring& text) {
  app.log.add(text);
  TellPages(app, "scheduled-reboot", text);
  if (app.surface.showWarning) {
    app.surface.showWarning(text);
  }
}

// Where the host was stopped for a restart that does not come: better the old sound than none.
void resumeHost(Application& app) {
  std::wstring error;
  const bool stopped = std::exchange(app.stoppedForRestart, false);
  if (stopped && app.engine.asioRunning.load() && !engine::StartHost(app.host, &error, false)) {
    app.log.add(error);
  }
}

system::RebootActions actionsOf(Application& app) {
  system::RebootActions actions;
  actions.showWarning = [&app](const std::wstring& text) { warn(app, text); };
  actions.hostRunning = [&app] { return app.engine.hostRunning.load() || app.engine.hostStopping.load(); };
  actions.stopHost = [&app] {
    app.stoppedForRestart = true;
    engine::StopHostAsync(app.host);
    RestartIfStopped(app);  // where no thread could be made, the stop is complete by now
  };
  actions.closing = [&app] { return app.closing; };
  actions.restartPc = [&app] {
    SaveAtEnd(app);
    if (app.power.restart()) {
      return true;
    }
    TellPages(app, "scheduled-reboot", L"The scheduled restart failed; see the log.");
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
  system::CheckScheduledReboot(app.scheduledReboot, app.preferences.scheduleReboot, app.preferences.rebootMinutes, now,
                               actionsOf(app));
}

void RestartIfStopped(Application& app) {
  if (!app.engine.hostRunning.load() && !app.engine.hostStopping.load()) {
    system::RequestRestartAfterStop(app.scheduledReboot, actionsOf(app));
  }
}

}  // namespace tarnwick::app
