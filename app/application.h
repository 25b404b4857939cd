// The application: it owns the areas and wires them to each other. What an area does on the user-interface thread
// stands in its own file beside this one, with the state that it keeps; options, pages and windows all go through those
// same requests and nothing below them.
#pragma once

#include "app/changes.h"
#include "app/device.h"
#include "app/host.h"
#include "app/options.h"
#include "app/remote/server.h"
#include "app/reports.h"
#include "app/scheduled_restart.h"
#include "app/settings.h"
#include "app/shutdown.h"
#include "app/status_log.h"
#include "app/surface.h"
#include "app/system_requests.h"
#include "engine/engine.h"
#include "engine/host.h"
#include "engine/host_rows.h"
#include "platform/power.h"
#include "platform/ui_thread.h"
#include "system/cpu_steering.h"

namespace tarnwick::app {

// Owned by the user-interface thread. The members end in the opposite order.
struct Application {
  Application(Options programOptions, Surface programSurface, const settings::SettingsMap& stored = {});
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  ~Application();

  Options options;
  Surface surface;
  Preferences preferences;
  ChangedEvent changed;
  NoticeEvent notice;
  StatusLog log;
  platform::UiThread ui;
  system::CpuSteering steering;
  SystemControl systemControl;
  platform::Power power = platform::SystemPower();
  DeviceArea device;
  engine::Engine engine;
  engine::Host host;
  ScheduledRestart restart;
  SettingsKeeper settings;
  Told told;
  RemoteLink remote;
  Ending ending;
};

// How the engine's operations reach the application.
engine::HostUi MakeHostUi(Application& app);
// Acts on a posted message.
void HandleMessage(Application& app, platform::UiMessage message, intptr_t parameter);

}  // namespace tarnwick::app
