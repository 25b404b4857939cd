#include "app/application.h"

#include <utility>

#include "app/device.h"
#include "app/remote/remote.h"
#include "app/scheduled_restart.h"
#include "app/settings.h"
#include "app/shutdown.h"
#include "platform/audio/audio_back_ends.h"
#include "platform/paths.h"

namespace tarnwick::app {
namespace {

constexpr int32_t kNormalPriorityIndex = 2;  // row "Normal" of the priority table

// The virtual device's first block is the host's first, however long the effects take to load.
sound::VirtualOptions virtualOptions(const Options& options, const Preferences& preferences) {
  sound::VirtualOptions device = options.virtualDevice;
  device.held = options.start;
  if (options.seconds > 0.0) {
    device.blockLimit = BlocksForSeconds(options, preferences);
  }
  return device;
}

platform::AudioBackEnd allBackEnds(Application& app) {
  platform::BackEndHooks hooks;
  hooks.log = [&app](const std::wstring& line) { app.ui.post([&app, line] { app.log.add(line); }); };
  hooks.deviceLost = [&app](const std::wstring& reason) {
    {
      const std::lock_guard lock(app.lostDeviceMutex);
      app.lostDevice = LostDevice{app.sessionNumber.load(), reason};
    }
    app.ui.post([&app] { LookAfterLostDevice(app); });  // should it be turned away, a timer looks as well
  };
  hooks.waiting = [&app](bool waiting) {
    if (app.surface.waitForDevice) {
      app.surface.waitForDevice(waiting);
    }
  };
  std::vector<platform::AudioBackEnd> all = platform::SystemBackEnds(hooks);
  all.push_back(app.virtualDevice->backEnd());
  return platform::CombineBackEnds(std::move(all));
}

}  // namespace

Application::Application(Options programOptions, Surface programSurface, const settings::ProgramSettings& stored)
    : options(std::move(programOptions)),
      surface(std::move(programSurface)),
      preferences(PreferencesFrom(options, stored)),
      log([this](const std::wstring& line) { surface.logLine(line); }),
      virtualDevice(std::make_unique<sound::VirtualDevice>(virtualOptions(options, preferences))),
      backEnd(allBackEnds(*this)),
      engine(steering),
      host(engine, MakeHostUi(*this)) {
  // Some drivers say so in every block.
  engine.postLatenciesChanged = [this] {
    if (!latenciesPosted.exchange(true) && !ui.post(platform::UiMessage::latenciesChanged)) {
      latenciesPosted.store(false);
    }
  };
  if (options.virtualDevice.clock == sound::VirtualClock::fast) {
    // A clock that never waits has no deadlines, and at a raised priority it would keep a processor from all others.
    engine.mmcssEnabled = false;
    engine.enginePriority = kNormalPriorityIndex;
  }
  host.pluginPath = options.plugin.empty() ? BundledEffect() : options.plugin;
  devices.selected = options.device.value_or(sound::kVirtualDriverName);
  TakeSettings(*this, stored);
  wantedDevice = devices.selected;
}

std::wstring BundledEffect() {
  return platform::JoinPath(platform::ExecutableFolder(), L"Ombrel.vst3");
}

Application::~Application() {
  ui.close();
  StopRemote(*this);
}

engine::HostUi MakeHostUi(Application& app) {
  engine::HostUi ui;
  ui.log = [&app](const std::wstring& line) { app.log.add(line); };
  ui.messageBox = [&app](engine::BoxKind kind, const std::wstring& title, const std::wstring& text) {
    app.surface.messageBox(kind, title, text);
  };
  ui.refresh = [&app] {
    app.surface.refresh();
    PublishRefusals(app);
  };
  ui.recordRunning = [] { return false; };
  ui.playbackRunning = [] { return false; };
  ui.postStopFinished = [&app] { return app.ui.post(platform::UiMessage::hostStopFinished); };
  ui.hostQuiet = [&app] { TakeSummary(app); };
  ui.destroyMainWindow = [&app] { FinishShutdown(app); };
  return ui;
}

void HandleMessage(Application& app, platform::UiMessage message, intptr_t /*parameter*/) {
  switch (message) {
    case platform::UiMessage::latenciesChanged:
      app.latenciesPosted.store(false);
      ShowLatencies(app);
      break;
    case platform::UiMessage::hostStopFinished:
      engine::CompleteHostStop(app.host);
      CloseLostDevice(app);
      RestartIfStopped(app);
      break;
    default:
      break;
  }
}

}  // namespace tarnwick::app
