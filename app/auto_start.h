// What the program starts by itself when its settings ask for it. User-interface thread.
#pragma once

#include "app/application.h"

namespace tarnwick::app {

// The device, then the instances, each when its switch is on. Nobody is asked anything; what fails is told in the log.
void AutoStart(Application& app);

}  // namespace tarnwick::app
