// The daily restart as the application runs it. User-interface thread.
#pragma once

#include "system/scheduled_reboot.h"

namespace tarnwick::app {

struct Application;

struct ScheduledRestart {
  system::ScheduledReboot schedule;
  bool stoppedHost = false;  // it has stopped a host that ran
};

// Starts the timer that looks at the schedule.
void StartSchedule(Application& app);
// One look at the schedule, at local time `now`.
void CheckSchedule(Application& app, system::LocalTime now);
// Asks for the restart that waits for the host, once it has stopped: to be called after each change of state.
void RestartIfStopped(Application& app);

}  // namespace tarnwick::app
