// Restart and shutdown of the machine. User-interface thread.
#pragma once

#include <string>

namespace tarnwick::app {

struct Application;

// Asks the system for it at once; the settings are stored first. False when the system does not take the request.
bool RestartNow(Application& app, std::wstring* error);
bool ShutdownNow(Application& app, std::wstring* error);

}  // namespace tarnwick::app
