// The daily restart as the application runs it. User-interface thread.
#pragma once

#include "app/application.h"

namespace tarnwick::app {

// Starts the timer that looks at the schedule.
void StartSchedule(Application& app);
// To be called when the host has stopped.
void RestartIfStopped(Application& app);

}  // namespace tarnwick::app
