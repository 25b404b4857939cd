// The application: it owns the subsystems and wires them to each other. What an area does on the user-interface thread
// stands in a file of its own beside this one; options, pages and windows all go through those same requests.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "app/options.h"
#include "app/status_log.h"
#include "app/system_control.h"
#include "engine/audio_control.h"
#include "engine/engine.h"
#include "engine/host.h"
#include "platform/audio_driver.h"
#include "platform/ui_thread.h"
#include "platform/virtual/virtual_driver.h"
#include "system/cpu_steering.h"

namespace tarnwick::app {

// What the surface around the application does for it: a console, or windows. User-interface thread.
struct Surface {
  std::function<void(const std::wstring& line)> logLine;
  std::function<void(engine::BoxKind kind, const std::wstring& title, const std::wstring& text)> messageBox;
  std::function<void()> refresh;                        // titles, buttons, labels and rows from the state
  std::function<void(const std::wstring& text)> print;  // an answer the user asked for
};

// What the log has told of, so that it does so once.
struct Told {
  std::wstring callbackGrant;
  std::wstring workerGrant;
  bool captureLost = false;
  bool refusedBlocks = false;
};

// Owned by the user-interface thread. The members end in the opposite order.
struct Application {
  Application(Options programOptions, Surface programSurface);
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  ~Application();

  Options options;
  Surface surface;
  StatusLog log;
  platform::UiThread ui;
  system::CpuSteering steering;
  std::unique_ptr<platform::VirtualDevice> virtualDevice;
  platform::AudioBackEnd backEnd;  // the system's devices, then the virtual one
  engine::Engine engine;
  engine::Host host;
  SystemControl systemControl;
  engine::DeviceList devices;
  std::wstring latencyText;
  std::atomic<uint32_t> sessionNumber{0};  // counts device starts; written here, read by threads of the back ends
  bool deviceLost = false;                 // the session goes once the host has stopped
  Told told;
  std::string summary;  // once the run that --seconds asked for has ended
  int exitCode = 0;
};

// How the engine's operations reach the surface.
engine::HostUi MakeHostUi(Application& app);
// What a posted message asks for.
void HandleMessage(Application& app, platform::UiMessage message, intptr_t parameter);

}  // namespace tarnwick::app
