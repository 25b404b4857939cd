#include "app/program.h"

#include <thread>

#include "app/auto_start.h"
#include "app/captions.h"
#include "app/version.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/startup_link.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "platform/trace.h"
#include "plugin/plugin_module.h"

namespace tarnwick::app {
namespace {

using platform::Utf8FromWide;

int validate(const std::wstring& path, const ProgramEntry& entry) {
  std::wstring reason;
  std::wstring className;
  if (!plugin::ValidateModule(path, &reason, &className)) {
    entry.printError(Utf8FromWide(path + L": " + reason) + "\n");
    return 1;
  }
  entry.surface.print(L"Valid VST3 effect: " + className + L"\n");
  return 0;
}

int listDevices(Application& app) {
  // The list's own status lines are not part of the answer.
  engine::HostUi quiet = app.host.ui;
  quiet.log = [](const std::wstring&) {};
  engine::RefreshDeviceList(app.engine, app.device.backEnd, app.device.list, app.preferences.sampleRate, quiet);
  for (const std::wstring& device : app.device.list.devices) {
    app.surface.print(device + L"\n");
  }
  if (app.device.list.devices.empty()) {
    app.surface.print(app.device.list.placeholder + L"\n");
  }
  return 0;
}

// The log hears the trace: all of it, or what is told nowhere else. Ends before the application does.
class TraceToLog {
 public:
  explicit TraceToLog(Application& app) {
    platform::SetTraceListener(
        [&app, owner = std::this_thread::get_id()](platform::TraceKind kind, std::wstring_view line) {
          if (kind != platform::TraceKind::fault && !app.options.debugLog) {
            return;
          }
          if (std::this_thread::get_id() == owner) {
            app.log.add(std::wstring(line));
          } else {
            app.ui.post([&app, text = std::wstring(line)] { app.log.add(text); });
          }
        });
  }
  TraceToLog(const TraceToLog&) = delete;
  TraceToLog& operator=(const TraceToLog&) = delete;
  ~TraceToLog() { platform::SetTraceListener({}); }
};

// The system's own text for a failure does not name what it is about.
std::string startedWith(const Application& app) {
  std::wstring text = L"The start was asked for with device \"" +
                      app.options.device.value_or(app.device.list.selected) + L"\", effect \"" + app.host.pluginPath +
                      L"\", " + InstanceCaption(app.host.rows.size()) + L".\n";
  if (app.device.list.selected.empty()) {
    text += L"Devices that answer:\n";
    for (const std::wstring& device : app.device.list.devices) {
      text += L"  " + device + L"\n";
    }
  }
  return Utf8FromWide(text);
}

// The deferred part of the start, run by the loop once the window is there: looking for devices may take seconds.
// Returns false with the exit code set when what --start asks for fails.
bool begin(Application& app, const ProgramEntry& entry) {
  RefreshDevices(app);
  if (app.host.rows.size() < static_cast<size_t>(app.options.instances)) {
    app.settings.forThisRun.insert(L"instances");
  }
  AddWiredInstances(app, app.options.instances);
  StartRemote(app);
  std::wstring error;
  if (!app.options.start) {
    AutoStart(app);
  } else if (!StartDevice(app, &error, false) || !StartHost(app, &error, false)) {
    entry.printError("tarnwick: " + Utf8FromWide(error) + "\n" + startedWith(app));
    app.ending.exitCode = 1;
    return false;
  }
  StartReports(app);
  StartSchedule(app);
  return true;
}

void handle(Application& app, const ProgramEntry& entry, platform::UiMessage message, intptr_t parameter) {
  if (message != platform::UiMessage::deferredStart) {
    HandleMessage(app, message, parameter);
  } else if (!begin(app, entry)) {
    BeginShutdown(app);
  }
}

int run(Application& app) {
  app.log.add(VersionLine());
  app.ui.post(platform::UiMessage::deferredStart);
  const int exitCode = app.ui.run();
  app.ui.close();  // what still waits for an answer goes without
  SaveAtEnd(app);
  StopRemote(app);
  if (!app.ending.summary.empty()) {
    app.surface.print(platform::WideFromUtf8(app.ending.summary) + L"\n");
  }
  return exitCode;
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, const ProgramEntry& entry) {
  std::string text;
  int exitCode = 0;
  std::optional<Options> options = ParseOptions(arguments, text, exitCode);
  if (!options) {
    if (exitCode == 0) {
      entry.surface.print(platform::WideFromUtf8(text));
    } else {
      entry.printError(text);
    }
    return exitCode;
  }
  if (options->version) {
    entry.surface.print(VersionLine() + L"\n");
    return 0;
  }
  if (!options->validate.empty()) {
    return validate(options->validate, entry);
  }
  platform::PrepareThreads();
  if (!options->plugin.empty()) {
    options->plugin = platform::ResolveModuleFile(options->plugin);
  }
  const std::wstring location = SettingsLocation(*options);
  const settings::SettingsMap map = settings::ReadSettings(location);
  Application app(*options, entry.surface, map);
  const TraceToLog traceToLog(app);
  std::wstring error;
  if (!app.device.virtualDevice->prepare(&error)) {
    entry.printError("tarnwick: " + Utf8FromWide(error) + "\n");
    return 1;
  }
  if (app.options.listDevices) {
    return listDevices(app);
  }
  if (map.empty() && platform::FileExists(location)) {
    app.log.add(L"No settings could be read from " + location + L"; everything begins anew.");
  }
  app.preferences.runAtStartup = platform::StartupLinkExists();  // it may have been made or removed by hand
  RaisePriorities(app);
  SetUiPriority(app, app.systemControl.uiPriority.load());  // instead of the one of the start
  KeepSettings(app, location);
  app.ui.open([&](platform::UiMessage message, intptr_t parameter) { handle(app, entry, message, parameter); });
  entry.watchForEnd(app);
  StartSteering(app);
  return entry.show && !entry.show() ? 1 : run(app);
}

}  // namespace tarnwick::app
