#include "app/application.h"

#include <utility>

#include "app/device.h"
#include "app/shutdown.h"
#include "platform/paths.h"

namespace tarnwick::app {
namespace {

// The virtual device begins with the host where it need not keep real time, so that a run repeats from its first block.
platform::VirtualOptions virtualOptions(const Options& options) {
  platform::VirtualOptions device = options.virtualDevice;
  device.held = options.start && device.clock == platform::VirtualClock::fast;
  if (options.seconds > 0.0) {
    device.blockLimit = BlocksForSeconds(options);
  }
  return device;
}

}  // namespace

Application::Application(Options programOptions, Surface programSurface)
    : options(std::move(programOptions)),
      surface(std::move(programSurface)),
      log([this](const std::wstring& line) { surface.logLine(line); }),
      virtualDevice(std::make_unique<platform::VirtualDevice>(virtualOptions(options))),
      backEnd(platform::CombineBackEnds({virtualDevice->backEnd()})),
      engine(steering),
      host(engine, MakeHostUi(*this)) {
  engine.postLatenciesChanged = [this] { ui.post(platform::UiMessage::latenciesChanged); };
  // A clock that never waits would take a processor whole under real-time scheduling.
  engine.mmcssEnabled = options.virtualDevice.clock != platform::VirtualClock::fast;
  host.pluginPath =
      options.plugin.empty() ? platform::JoinPath(platform::ExecutableFolder(), L"Ombrel.vst3") : options.plugin;
  devices.selected = options.device;
}

Application::~Application() {
  ui.close();
}

engine::HostUi MakeHostUi(Application& app) {
  engine::HostUi ui;
  ui.log = [&app](const std::wstring& line) { app.log.add(line); };
  ui.messageBox = [&app](engine::BoxKind kind, const std::wstring& title, const std::wstring& text) {
    app.surface.messageBox(kind, title, text);
  };
  ui.refresh = [&app] { app.surface.refresh(); };
  ui.recordRunning = [] { return false; };
  ui.playbackRunning = [] { return false; };
  ui.postStopFinished = [&app] { return app.ui.post(platform::UiMessage::hostStopFinished); };
  ui.destroyMainWindow = [&app] { FinishShutdown(app); };
  return ui;
}

void HandleMessage(Application& app, platform::UiMessage message, intptr_t /*parameter*/) {
  switch (message) {
    case platform::UiMessage::latenciesChanged:
      ShowLatencies(app);
      break;
    case platform::UiMessage::hostStopFinished:
      engine::CompleteHostStop(app.host);
      break;
    default:
      break;
  }
}

}  // namespace tarnwick::app
