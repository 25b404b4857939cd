#include "app/settings.h"

#include <cmath>
#include <exception>
#include <system_error>
#include <utility>

#include "app/application.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

using settings::ProgramSettings;
using settings::SavedInstance;
using settings::SettingsMap;

engine::InstanceRow rowFrom(const SavedInstance& saved) {
  engine::InstanceRow row;
  row.name = saved.name;
  row.config.inputChannel = saved.inputChannel;
  row.config.outputChannel = saved.outputChannel;
  row.config.inputGainDb = saved.inputGainDb;
  row.config.outputGainDb = saved.outputGainDb;
  row.config.bypassEnabled = saved.bypassEnabled ? 1 : 0;
  row.config.testSignalEnabled = saved.testSignalEnabled ? 1 : 0;
  row.setsFirstParameter = saved.hasSavedFirstParam;
  row.firstParamPercent = static_cast<int32_t>(std::lround(saved.firstParamPercent));
  return row;
}

SavedInstance savedFrom(const engine::InstanceRow& row) {
  SavedInstance saved;
  saved.name = row.name;
  saved.inputChannel = row.config.inputChannel;
  saved.outputChannel = row.config.outputChannel;
  saved.inputGainDb = row.config.inputGainDb;
  saved.outputGainDb = row.config.outputGainDb;
  saved.bypassEnabled = row.config.bypassEnabled != 0;
  saved.testSignalEnabled = row.config.testSignalEnabled != 0;
  saved.hasSavedFirstParam = row.setsFirstParameter;
  saved.firstParamPercent = row.setsFirstParameter ? row.firstParamPercent : 0;
  return saved;
}

// A clock that never waits runs without priority, whatever is set.
bool runsAtPriority(const Application& app) {
  return app.options.virtualDevice.clock != sound::VirtualClock::fast;
}

void tellFailure(Application& app) {
  app.log.add(settings::kWriteFailure);
  app.log.add(L"The settings are kept in " + app.settings.location);
  app.notice("settings", settings::kWriteFailure);
}

void takeOutcome(Application& app) {
  const int outcome = app.settings.outcome.exchange(SettingsKeeper::none);
  if (outcome != SettingsKeeper::none && app.settings.schedule.written(outcome == SettingsKeeper::succeeded)) {
    tellFailure(app);
  }
}

// Whether a value is what an option has set for this run.
template <class Value>
bool isOption(const std::optional<Value>& option, const Value& value) {
  return option && *option == value;
}

void awaitWriter(Application& app) {
  if (app.settings.writer.joinable()) {
    app.settings.writer.join();
  }
}

}  // namespace

std::wstring SettingsLocation(const Options& options) {
  return options.settings.empty() ? platform::DefaultRegistryLocation() : options.settings;
}

Preferences PreferencesFrom(const Options& options, const ProgramSettings& stored) {
  Preferences preferences;
  const auto take = [](auto& value, const auto& given) { value = given.value_or(value); };
  take(preferences.sampleRate, stored.sampleRate);
  take(preferences.sampleRate, options.sampleRate);
  take(preferences.bufferSize, stored.bufferSize);
  take(preferences.bufferSize, options.bufferSize);
  take(preferences.rememberSettings, stored.rememberSettings);
  take(preferences.runAtStartup, stored.runAtStartup);
  take(preferences.autoStartAsio, stored.autoStartAsio);
  take(preferences.autoStartInstances, stored.autoStartInstances);
  take(preferences.scheduleReboot, stored.scheduleSystemRebootEnabled);
  take(preferences.rebootMinutes, stored.schedulePcRestartMinutes);
  return preferences;
}

void TakeSettings(Application& app, const ProgramSettings& stored) {
  app.settings.deviceFromOption = app.options.device.has_value();
  if (stored.device && !stored.device->empty() && !app.options.device) {
    app.device.list.selected = *stored.device;
  }
  if (stored.pluginPath && !stored.pluginPath->empty() && app.options.plugin.empty()) {
    app.host.pluginPath = *stored.pluginPath;
  }
  if (runsAtPriority(app)) {
    app.engine.mmcssEnabled = stored.mmcssProAudio.value_or(app.engine.mmcssEnabled.load());
    app.engine.enginePriority = stored.enginePriority.value_or(app.engine.enginePriority.load());
  }
  SystemControl& control = app.systemControl;
  control.audioPriority = stored.audioPriority.value_or(control.audioPriority.load());
  control.uiPriority = stored.uiPriority.value_or(control.uiPriority.load());
  control.networkPriority = stored.networkPriority.value_or(control.networkPriority.load());
  system::SteeringMasks masks{};
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    masks[group] = stored.cpuSteeringMasks[group].value_or(0);
  }
  system::SetSteeringMasks(app.steering, masks);
  app.host.bypassAll = stored.bypassAll.value_or(false);
  app.engine.testSignalAll = stored.testSignalAll.value_or(false);
  for (const SavedInstance& saved : stored.instances.value_or(std::vector<SavedInstance>())) {
    engine::AddInstance(app.host, rowFrom(saved), nullptr);
  }
}

SettingsMap CurrentSettings(const Application& app) {
  const Options& options = app.options;
  ProgramSettings now;
  if (options.plugin.empty() || app.host.pluginPath != options.plugin) {
    // The bundled effect goes where the program goes.
    now.pluginPath = app.host.pluginPath == BundledEffect() ? std::wstring() : app.host.pluginPath;
  }
  if (!app.device.list.selected.empty() && !app.settings.deviceFromOption) {
    now.device = app.device.list.selected;
  }
  if (!isOption(options.sampleRate, app.preferences.sampleRate)) {
    now.sampleRate = app.preferences.sampleRate;
  }
  if (!isOption(options.bufferSize, app.preferences.bufferSize)) {
    now.bufferSize = app.preferences.bufferSize;
  }
  if (runsAtPriority(app)) {
    now.mmcssProAudio = app.engine.mmcssEnabled.load();
    now.enginePriority = app.engine.enginePriority.load();
  }
  now.audioPriority = app.systemControl.audioPriority.load();
  now.uiPriority = app.systemControl.uiPriority.load();
  now.networkPriority = app.systemControl.networkPriority.load();
  now.bypassAll = app.host.bypassAll;
  now.testSignalAll = app.engine.testSignalAll.load();
  if (!app.settings.instancesFromOptions) {
    now.instances.emplace();
    for (const engine::InstanceRow& row : app.host.rows) {
      now.instances->push_back(savedFrom(row));
    }
  }
  now.rememberSettings = app.preferences.rememberSettings;
  now.runAtStartup = app.preferences.runAtStartup;
  now.autoStartInstances = app.preferences.autoStartInstances;
  now.autoStartAsio = app.preferences.autoStartAsio;
  now.scheduleSystemRebootEnabled = app.preferences.scheduleReboot;
  now.schedulePcRestartMinutes = app.preferences.rebootMinutes;
  const system::SteeringMasks masks = system::ChosenMasks(app.steering);
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    now.cpuSteeringMasks[group] = masks[group];
  }
  return settings::MapFromSettings(now);
}

void KeepSettings(Application& app, const std::wstring& location) {
  app.settings.location = location;
  app.settings.schedule = settings::SaveSchedule(app.preferences.rememberSettings);
}

void NoteChange(Application& app, Changed what) {
  if (what == Changed::state) {
    return;
  }
  if (what == Changed::device) {
    app.settings.deviceFromOption = false;
  } else if (what == Changed::instances) {
    app.settings.instancesFromOptions = false;
  }
  app.settings.schedule.changed();
}

void SetRememberSettings(Application& app, bool enabled) {
  if (enabled == app.preferences.rememberSettings) {
    return;
  }
  app.preferences.rememberSettings = enabled;
  app.settings.schedule.rememberingSet(enabled, CurrentSettings(app));
}

bool SetRunAtStartup(Application& app, bool enabled, std::wstring& error) {
  if (!settings::SetRunAtStartup(enabled)) {
    error = enabled ? settings::kStartupLinkFailure : settings::kStartupUnlinkFailure;
    app.log.add(error);
    return false;
  }
  app.preferences.runAtStartup = enabled;
  return true;
}

void SaveWhenDue(Application& app) {
  if (app.settings.location.empty()) {
    return;
  }
  takeOutcome(app);
  auto map = app.settings.schedule.due(settings::SaveSchedule::Clock::now(), [&app] { return CurrentSettings(app); });
  if (!map) {
    return;
  }
  awaitWriter(app);
  try {
    app.settings.writer = std::thread([&app, location = app.settings.location, values = std::move(*map)] {
      bool written = false;
      try {
        written = settings::WriteSettings(location, values);
      } catch (const std::exception&) {  // no memory
      }
      app.settings.outcome = written ? SettingsKeeper::succeeded : SettingsKeeper::failed;
    });
  } catch (const std::system_error&) {
    app.settings.outcome = SettingsKeeper::failed;
  }
}

void SaveAtEnd(Application& app) {
  awaitWriter(app);
  if (app.settings.location.empty()) {
    return;
  }
  takeOutcome(app);
  const auto map = app.settings.schedule.flush([&app] { return CurrentSettings(app); });
  if (map && app.settings.schedule.written(settings::WriteSettings(app.settings.location, *map))) {
    tellFailure(app);
  }
}

}  // namespace tarnwick::app
