// What the program starts by itself when its settings ask for it. User-interface thread.
#pragma once

namespace tarnwick::app {

struct Application;

// The device, then the instances, each when its switch is on. Nobody is asked anything; the log tells of each, and why
// one failed.
void AutoStart(Application& app);

}  // namespace tarnwick::app
