// The audio device as the user deals with it: the list, start and stop, latency, control panel. User-interface thread.
#pragma once

#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/host_ui.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::engine {

// The device list as shown.
struct DeviceList {
  std::vector<std::wstring> devices;  // online devices
  std::wstring placeholder;           // the one entry shown when there are none
  std::wstring selected;              // empty = no selection
};

// Lists the drivers and keeps those whose device answers; the driver of a running session is not probed. The selection
// is kept when its device is still there (compared without regard to case).
// `sampleRate`: the one that a session would ask for; a device may answer at some rates only.
// `systemReference`: the main window where there is one.
void RefreshDeviceList(Engine& engine, const platform::AudioBackEnd& backEnd, DeviceList& list, double sampleRate,
                       const HostUi& ui, void* systemReference = nullptr);

// Opens and starts the device ("ASIO Start"). Does nothing and succeeds when the session runs already.
bool StartAsio(Engine& engine, const platform::AudioBackEnd& backEnd, const SessionRequest& request, const HostUi& ui,
               std::wstring* error, bool interactive);

// Why a stop would be refused now; empty when it would not.
std::wstring StopAsioRefusal(const Engine& engine, const HostUi& ui);
// Stops the device, unless the host, the recorder or the player still runs.
bool StopAsio(Engine& engine, const HostUi& ui, std::wstring* error, bool interactive);

// In samples; negative = unknown.
struct Latencies {
  int32_t input = -1;
  int32_t output = -1;
};
// As the open device's driver says; unknown without one.
Latencies ReadLatencies(const DeviceSession& session);
// "Input Latency : 64 samples (1.33 ms), Output Latency : ...", "-" for what is unknown, or at a rate of 1 Hz or less.
std::wstring LatencyText(const Latencies& latencies, double sampleRate);
std::wstring LatencyText(const DeviceSession& session);

// Opens the selected driver's own settings; without a session on it, the driver is loaded just for that.
bool OpenControlPanel(Engine& engine, const platform::AudioBackEnd& backEnd, const DeviceList& list,
                      void* systemReference, const HostUi& ui, std::wstring* error, bool interactive);

}  // namespace tarnwick::engine
