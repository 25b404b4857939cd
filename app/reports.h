// What the application looks after by timer: reports in the status log and the end of a timed run. User-interface
// thread.
#pragma once

#include "app/application.h"

namespace tarnwick::app {

// Starts the timers.
void StartReports(Application& app);

}  // namespace tarnwick::app
