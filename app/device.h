// Requests about the audio device. User-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "app/application.h"

namespace tarnwick::app {

// Lists the devices anew.
void RefreshDevices(Application& app);
// Starts the selected device; `error` receives the reason of a failure.
bool StartDevice(Application& app, std::wstring* error, bool interactive);
bool StopDevice(Application& app, std::wstring* error, bool interactive);
// Asks the driver for its latencies and shows them.
void ShowLatencies(Application& app);

// Blocks that make the seconds of audio that the options ask for, at the virtual device's block length.
int64_t BlocksForSeconds(const Options& options);

}  // namespace tarnwick::app
