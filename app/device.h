// The audio device: its state in the application, and every request about it. User-interface thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "engine/audio_control.h"
#include "platform/audio/audio_driver.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::app {

struct Application;
struct Options;
struct Preferences;

// A back end's news that the session's device has gone.
struct LostDevice {
  uint32_t session = 0;
  std::wstring reason;  // a sentence
};

// Blocks that came too late, as the session's back end counts them since the device's start.
struct LateBlocks {
  uint64_t total = 0;
  std::wstring last;  // local time when the back end last told of more, "14:02:11"; empty before the first
};

// The part of them that the log has told.
struct ToldLateBlocks {
  uint64_t total = 0;
  std::optional<std::chrono::steady_clock::time_point> at;
};

struct DeviceArea {
  // Needs the application's options, preferences, log, thread and surface.
  explicit DeviceArea(Application& app);

  std::unique_ptr<sound::VirtualDevice> virtualDevice;
  platform::AudioBackEnd backEnd;  // the system's devices, then the virtual one
  engine::DeviceList list;
  std::wstring wanted;  // the one last chosen, which may not be there today

  engine::Latencies latencies;  // as the driver last said
  std::wstring latencyText = engine::LatencyText(latencies, 0.0);
  std::atomic<bool> latenciesPosted{false};  // set by the driver's thread, cleared when they are asked for

  std::atomic<uint32_t> sessionNumber{0};  // counts device starts; written here, read by threads of the back ends
  std::mutex newsMutex;                    // guards the next two alone, which threads of the back ends write
  std::optional<LostDevice> news;          // until it is looked after
  LateBlocks late;
  ToldLateBlocks toldLate;
  bool lost = false;  // the session goes once the host has stopped
};

// Lists the devices anew.
void RefreshDevices(Application& app);
// Chooses an entry of the list.
void SelectDevice(Application& app, const std::wstring& name);
// Starts the selected device; `error` receives the reason of a failure, which the log has too. Interactive requests
// show it in a message box as well.
bool StartDevice(Application& app, std::wstring* error, bool interactive);
bool StopDevice(Application& app, std::wstring* error, bool interactive);
// Opens the selected driver's own settings.
bool OpenDevicePanel(Application& app, std::wstring* error, bool interactive);

// If a back end has said that the device is gone: stops the host and closes the session. Late news of an earlier
// session is passed over.
void LookAfterLostDevice(Application& app);
// Closes a lost device's session as soon as the host has stopped: to be called after each change of state.
void CloseLostDevice(Application& app);

// Any thread.
LateBlocks LateBlocksSoFar(Application& app);
// Says in the log how many blocks came too late, when there are more than it told: at most every ten seconds.
void TellLateBlocks(Application& app, std::chrono::steady_clock::time_point now);

// Any thread, the audio callback included: the driver has other latencies. Some drivers say so in every block.
void PostLatenciesChanged(Application& app);
// Asks the driver for its latencies and shows them; the log has them when they are others than before.
void TakeLatencies(Application& app);

// Whole frames that --seconds asks for at a sample rate in Hz.
int64_t FramesForSeconds(double seconds, double sampleRate);
// Blocks that make the seconds of audio that the options ask for, at the virtual device's block length.
int64_t BlocksForSeconds(const Options& options, const Preferences& preferences);

}  // namespace tarnwick::app
