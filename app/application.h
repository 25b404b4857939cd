// The application: it owns the subsystems and wires them to each other. What an area does on the user-interface thread
// stands in a file of its own beside this one; options, pages and windows all go through those same requests.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "app/options.h"
#include "app/remote/remote_link.h"
#include "app/status_log.h"
#include "app/system_control.h"
#include "engine/audio_control.h"
#include "engine/engine.h"
#include "engine/host.h"
#include "platform/audio/audio_driver.h"
#include "platform/power.h"
#include "platform/ui_thread.h"
#include "settings/program_settings.h"
#include "settings/save_schedule.h"
#include "sound/virtual/virtual_driver.h"
#include "system/cpu_steering.h"
#include "system/scheduled_reboot.h"

namespace tarnwick::app {

// What the surface around the application does for it: a console, or windows. User-interface thread.
struct Surface {
  std::function<void(const std::wstring& line)> logLine;
  std::function<void(engine::BoxKind kind, const std::wstring& title, const std::wstring& text)> messageBox;
  std::function<void()> refresh;                        // titles, buttons, labels and rows from the state
  std::function<void(const std::wstring& text)> print;  // an answer the user asked for
  // Where there are windows; else empty.
  std::function<void(const std::wstring& text)> showWarning;  // in a message box that nobody waits for
  std::function<void*()> mainWindow;                // what drivers may own their dialogs with; null when there is none
  std::function<void(bool waiting)> waitForDevice;  // see BackEndHooks::waiting
};

// What the user set up beside the device, the effect and the instances.
struct Preferences {
  double sampleRate = 48000.0;  // Hz
  int32_t bufferSize = 256;     // samples; 0 = the device's preferred length
  bool rememberSettings = true;
  bool runAtStartup = false;
  bool autoStartAsio = false;
  bool autoStartInstances = false;
  bool scheduleReboot = false;
  int32_t rebootMinutes = 360;  // since midnight
};

// Where the settings go. User-interface thread; the writer has only what it was given.
struct SettingsKeeper {
  std::wstring location;  // empty = they are not kept
  settings::SaveSchedule schedule{true};
  std::thread writer;  // writes, or has written, what was last due
  enum Outcome : int { none, succeeded, failed };
  std::atomic<int> outcome{none};  // of the writer, until it is taken

  // Set up for this run by options, and not changed since: not stored.
  bool instancesFromOptions = false;

  ~SettingsKeeper() {
    if (writer.joinable()) {
      writer.join();
    }
  }
};

// What the log has told of, so that it does so once.
struct Told {
  std::wstring callbackGrant;
  std::wstring workerGrant;
  bool captureLost = false;
  bool refusedBlocks = false;
};

// What a back end has said of the session's device.
struct LostDevice {
  uint32_t session = 0;
  std::wstring reason;
};

// Owned by the user-interface thread. The members end in the opposite order.
struct Application {
  Application(Options programOptions, Surface programSurface, const settings::ProgramSettings& stored = {});
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  ~Application();

  Options options;
  Surface surface;
  Preferences preferences;
  StatusLog log;
  platform::UiThread ui;
  system::CpuSteering steering;
  std::unique_ptr<sound::VirtualDevice> virtualDevice;
  std::mutex lostDeviceMutex;            // guards the next one alone
  std::optional<LostDevice> lostDevice;  // told by a thread of a back end, until it is looked after
  platform::AudioBackEnd backEnd;        // the system's devices, then the virtual one
  engine::Engine engine;
  engine::Host host;
  SystemControl systemControl;
  platform::Power power = platform::SystemPower();
  system::ScheduledReboot scheduledReboot;
  bool stoppedForRestart = false;  // the schedule has stopped a host that ran
  engine::DeviceList devices;
  std::wstring wantedDevice;    // the one last chosen, which may not be there today
  engine::Latencies latencies;  // as the driver last said
  std::wstring latencyText = engine::LatencyText(latencies, 0.0);
  std::atomic<bool> latenciesPosted{false};  // set by the driver's thread, cleared when they are asked for
  std::atomic<uint32_t> sessionNumber{0};    // counts device starts; written here, read by threads of the back ends
  SettingsKeeper settings;
  bool closing = false;     // the program is about to end
  bool deviceLost = false;  // the session goes once the host has stopped
  Told told;
  RemoteLink remote;
  std::string summary;  // once the run that --seconds asked for has ended
  int exitCode = 0;
};

// The effect that comes with the program, beside its executable.
std::wstring BundledEffect();

// How the engine's operations reach the surface.
engine::HostUi MakeHostUi(Application& app);
// What a posted message asks for.
void HandleMessage(Application& app, platform::UiMessage message, intptr_t parameter);

}  // namespace tarnwick::app
