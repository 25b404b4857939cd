#include "app/program.h"

#include "app/auto_start.h"
#include "app/captions.h"
#include "app/device.h"
#include "app/instances.h"
#include "app/options.h"
#include "app/remote/remote.h"
#include "app/reports.h"
#include "app/scheduled_restart.h"
#include "app/settings.h"
#include "app/shutdown.h"
#include "app/system_requests.h"
#include "app/version.h"
#include "platform/module.h"
#include "platform/paths.h"
#include "platform/startup_link.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "plugin/plugin_module.h"

namespace tarnwick::app {
namespace {

using platform::Utf8FromWide;

int validate(const std::wstring& path, const ProgramEntry& entry) {
  std::wstring reason;
  std::wstring className;
  if (!plugin::ValidateModule(path, &reason, &className)) {
    std::wstring loaderWords;
    const auto module = platform::Module::Load(platform::ResolveModuleFile(path), &loaderWords);
    entry.printError(Utf8FromWide(path + L": " + reason + (module ? L"" : L" (" + loaderWords + L")")) + "\n");
    return 1;
  }
  entry.surface.print(L"Valid VST3 effect: " + className + L"\n");
  return 0;
}

int listDevices(Application& app) {
  // The list's own status lines are not part of the answer.
  engine::HostUi quiet = app.host.ui;
  quiet.log = [](const std::wstring&) {};
  engine::RefreshDeviceList(app.engine, app.backEnd, app.devices, quiet);
  for (const std::wstring& device : app.devices.devices) {
    app.surface.print(device + L"\n");
  }
  if (app.devices.devices.empty()) {
    app.surface.print(app.devices.placeholder + L"\n");
  }
  return 0;
}

// Device, then host. False with the system's own text for a failure.
bool startAtOnce(Application& app, std::wstring& error) {
  if (!StartDevice(app, &error, false)) {
    return false;
  }
  TellMissingChannels(app);
  if (!engine::StartHost(app.host, &error, false)) {
    return false;
  }
  app.virtualDevice->release();
  return true;
}

// The system's own text for a failure does not name what it is about.
std::string startedWith(const Application& app) {
  std::wstring text = L"The start was asked for with device \"" + app.options.device.value_or(app.devices.selected) +
                      L"\", effect \"" + app.host.pluginPath + L"\", " + InstanceCaption(app.host.rows.size()) + L".\n";
  if (app.devices.selected.empty()) {
    text += L"Devices that answer:\n";
    for (const std::wstring& device : app.devices.devices) {
      text += L"  " + device + L"\n";
    }
  }
  return Utf8FromWide(text);
}

int run(Application& app, const ProgramEntry& entry) {
  app.log.add(VersionLine());
  RefreshDevices(app);
  app.settings.instancesFromOptions = app.host.rows.size() < static_cast<size_t>(app.options.instances);
  AddWiredInstances(app, app.options.instances);
  StartRemote(app);
  std::wstring error;
  if (app.options.start && !startAtOnce(app, error)) {
    StopDevice(app, nullptr, false);
    entry.printError("tarnwick: " + Utf8FromWide(error) + "\n" + startedWith(app));
    return 1;
  }
  if (!app.options.start) {
    AutoStart(app);
  }
  StartReports(app);
  StartSchedule(app);
  const int exitCode = app.ui.run();
  app.ui.close();  // what still waits for an answer goes without
  SaveAtEnd(app);
  StopRemote(app);
  if (!app.summary.empty()) {
    app.surface.print(platform::WideFromUtf8(app.summary) + L"\n");
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
  const settings::ProgramSettings stored = settings::SettingsFromMap(map);
  Application app(*options, entry.surface, stored);
  std::wstring error;
  if (!app.virtualDevice->prepare(&error)) {
    entry.printError("tarnwick: " + Utf8FromWide(error) + "\n");
    return 1;
  }
  if (app.options.listDevices) {
    return listDevices(app);
  }
  if (map.empty() && platform::FileExists(location)) {
    app.log.add(L"No settings could be read from " + location + L"; everything begins anew.");
  }
  KeepSettings(app, location);
  app.preferences.runAtStartup = platform::StartupLinkExists();  // it may have been made or removed by hand
  RaisePriorities(app);
  if (stored.uiPriority) {
    SetUiPriority(app, *stored.uiPriority);  // instead of the one of the start
  }
  app.ui.open([&app](platform::UiMessage message, intptr_t parameter) { HandleMessage(app, message, parameter); });
  entry.watchForEnd(app);
  StartSteering(app);
  return entry.show && !entry.show() ? 1 : run(app, entry);
}

}  // namespace tarnwick::app
