// Requests about the audio device. User-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "app/application.h"

namespace tarnwick::app {

// Lists the devices anew.
void RefreshDevices(Application& app);
// Chooses an entry of the list.
void SelectDevice(Application& app, const std::wstring& name);
// Starts the selected device; `error` receives the reason of a failure.
bool StartDevice(Application& app, std::wstring* error, bool interactive);
bool StopDevice(Application& app, std::wstring* error, bool interactive);
// If a back end has said that the device is gone: stops the host and closes the session. Late news of an earlier
// session is passed over.
void LookAfterLostDevice(Application& app);
// Closes a lost device's session as soon as the host has stopped.
void CloseLostDevice(Application& app);
// Asks the driver for its latencies and shows them; the log has them when they are others than before.
void ShowLatencies(Application& app);

// Whole frames that --seconds asks for at a sample rate in Hz.
int64_t FramesForSeconds(double seconds, double sampleRate);
// Blocks that make the seconds of audio that the options ask for, at the virtual device's block length.
int64_t BlocksForSeconds(const Options& options, const Preferences& preferences);

}  // namespace tarnwick::app
