#include "app/application.h"

#include <utility>

namespace tarnwick::app {
namespace {

void wire(Application& app) {
  app.changed.listen([&app](Changed what) { NoteChange(app, what); });
  app.changed.listen([&app](Changed) { PublishRefusals(app); });
  app.changed.listen([&app](Changed) { CloseLostDevice(app); });
  app.changed.listen([&app](Changed) { RestartIfStopped(app); });
  app.changed.listen([&app](Changed) { app.surface.refresh(); });
  app.notice.listen([&app](std::string_view action, const std::wstring& text) { TellPages(app, action, text); });
  app.engine.postLatenciesChanged = [&app] { PostLatenciesChanged(app); };
}

}  // namespace

Application::Application(Options programOptions, Surface programSurface, const settings::SettingsMap& stored)
    : options(std::move(programOptions)),
      surface(std::move(programSurface)),
      preferences(FirstPreferences(options, stored)),
      log([this](const std::wstring& line) { surface.logLine(line); }),
      device(*this),
      engine(steering),
      host(engine, MakeHostUi(*this)) {
  engine.totalsWanted = options.seconds > 0.0;
  TakeSettings(*this, stored);
  device.wanted = device.list.selected;
  wire(*this);
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
      TakeLatencies(app);
      break;
    case platform::UiMessage::hostStopFinished:
      FinishHostStop(app);
      break;
    default:
      break;
  }
}

}  // namespace tarnwick::app
