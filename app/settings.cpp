#include "app/settings.h"

#include <exception>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include "app/application.h"
#include "platform/registry.h"

namespace tarnwick::app {
namespace {

using settings::SettingsMap;
using settings::Value;

constexpr int32_t kNormalPriorityIndex = 2;  // row "Normal" of the priority table

// The values that options set for this run, by the names of the settings.
std::map<std::wstring_view, Value> optionValues(const Options& options) {
  std::map<std::wstring_view, Value> values;
  if (options.device) {
    values.emplace(L"device", *options.device);
  }
  if (options.sampleRate) {
    values.emplace(L"sampleRate", *options.sampleRate);
  }
  if (options.bufferSize) {
    values.emplace(L"bufferSize", *options.bufferSize);
  }
  if (!options.plugin.empty()) {
    values.emplace(L"pluginPath", options.plugin);
  }
  if (options.virtualDevice.clock == sound::VirtualClock::fast) {
    // A clock that never waits has no deadlines, and at a raised priority it would keep a processor from all others.
    values.emplace(L"mmcssProAudio", false);
    values.emplace(L"enginePriority", kNormalPriorityIndex);
  }
  return values;
}

Value storedOrStandard(const Setting& setting, const SettingsMap& stored) {
  const auto entry = stored.find(setting.name);
  auto value = entry != stored.end() ? settings::ValueFromText(setting.form, entry->second) : std::nullopt;
  return value ? std::move(*value) : *settings::ValueFromText(setting.form, setting.standard);
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

void awaitWriter(Application& app) {
  if (app.settings.writer.joinable()) {
    app.settings.writer.join();
  }
}

}  // namespace

std::wstring SettingsLocation(const Options& options) {
  return options.settings.empty() ? platform::DefaultRegistryLocation() : options.settings;
}

Preferences FirstPreferences(const Options& options, const SettingsMap& stored) {
  const auto of = [&stored](const wchar_t* name) { return storedOrStandard(SettingNamed(name), stored); };
  Preferences preferences;
  preferences.sampleRate = options.sampleRate.value_or(std::get<double>(of(L"sampleRate")));
  preferences.bufferSize = options.bufferSize.value_or(std::get<int32_t>(of(L"bufferSize")));
  return preferences;
}

void TakeSettings(Application& app, const SettingsMap& stored) {
  const auto options = optionValues(app.options);
  for (const Setting& setting : Settings()) {
    const auto option = options.find(setting.name);
    if (option != options.end()) {
      app.settings.forThisRun.insert(setting.name);
    }
    setting.access.set(app, option != options.end() ? option->second : storedOrStandard(setting, stored));
  }
}

SettingsMap CurrentSettings(const Application& app) {
  SettingsMap map;
  for (const Setting& setting : Settings()) {
    if (app.settings.forThisRun.count(setting.name) == 0) {
      if (const std::optional<Value> value = setting.access.get(app)) {
        map.emplace(setting.name, settings::TextFromValue(*value));
      }
    }
  }
  return map;
}

void KeepSettings(Application& app, const std::wstring& location) {
  app.settings.location = location;
  app.settings.schedule = settings::SaveSchedule(app.preferences.rememberSettings);
}

bool ChangeSettings(Application& app, const std::vector<SettingChange>& changes, std::wstring& error) {
  for (const auto& [setting, value] : changes) {
    if (!settings::Fits(setting->form, value)) {
      error = RefusalOf(*setting);
      return false;
    }
  }
  for (const auto& [setting, value] : changes) {
    if (setting->admit != nullptr && !setting->admit(app, value, error)) {
      return false;
    }
  }
  for (const auto& [setting, value] : changes) {
    (setting->change != nullptr ? setting->change : setting->access.set)(app, value);
    app.settings.forThisRun.erase(setting->name);
  }
  app.changed(Changed::setting);
  return true;
}

void NoteChange(Application& app, Changed what) {
  if (what == Changed::state) {
    return;
  }
  if (what == Changed::device) {
    app.settings.forThisRun.erase(L"device");
  } else if (what == Changed::instances) {
    app.settings.forThisRun.erase(L"instances");
  }
  app.settings.schedule.changed();
  app.settings.schedule.remember(app.preferences.rememberSettings, [&app] { return CurrentSettings(app); });
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
