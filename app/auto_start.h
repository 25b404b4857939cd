// Automatic start at the program's start, as the settings ask. User-interface thread.
#pragma once

namespace tarnwick::app {

struct Application;

// The device, then the instances, each when its switch is on. Nobody is asked anything; the log tells of each, and why
// one failed.
void AutoStart(Application& app);

}  // namespace tarnwick::app
