// The daily restart as the application runs it. User-interface thread.
#pragma once

#include "app/application.h"

namespace tarnwick::app {

// Starts the timer that looks at the schedule.
void StartSchedule(Application& app);
// One look at the schedule, at local time `now`.
void CheckSchedule(Application& app, system::LocalTime now);
// To be called when the host has stopped.
void RestartIfStopped(Application& app);

}  // namespace tarnwick::app
