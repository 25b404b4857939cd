#include "app/settings_table.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <iterator>
#include <vector>

#include "app/application.h"
#include "engine/device_session.h"
#include "platform/session_limits.h"
#include "platform/text.h"
#include "settings/saved_instances.h"
#include "system/priority.h"

namespace tarnwick::app {
namespace {

using settings::Form;
using settings::Kind;
using settings::Value;
using system::SteeringGroup;

constexpr Form kFlag{Kind::flag};
constexpr Form kPriority{Kind::priority, 0, static_cast<double>(system::kPriorities.size() - 1)};
constexpr Form kText{Kind::text};
constexpr Form kRate{Kind::number, 1000, platform::kHighestSampleRate, L"sample rate", L"Hz"};
constexpr Form kLength{Kind::whole, 0, platform::kLargestBlockLength, L"buffer size", L"samples"};
constexpr Form kTimeOfDay{Kind::whole, 0, 24 * 60 - 1, L"restart time", L"minutes since midnight"};

template <class T>
T load(const T& field) {
  return field;
}
template <class T>
T load(const std::atomic<T>& field) {
  return field.load();
}
int32_t load(const std::chrono::minutes& field) {
  return static_cast<int32_t>(field.count());
}

template <class T>
void store(T& field, const Value& value) {
  field = std::get<T>(value);
}
template <class T>
void store(std::atomic<T>& field, const Value& value) {
  field = std::get<T>(value);
}
void store(std::chrono::minutes& field, const Value& value) {
  field = std::chrono::minutes(std::get<int32_t>(value));
}

// Access to a field: `Field` returns a reference to it, from an application that may be constant.
template <class Field>
constexpr Access field(Field) {
  return {[](const Application& app) -> std::optional<Value> { return load(Field{}(app)); },
          [](Application& app, const Value& value) { store(Field{}(app), value); }};
}

template <auto member>
constexpr Access preference() {
  return field([](auto& app) -> auto& { return app.preferences.*member; });
}

bool admitMask(Application&, const Value& value, std::wstring& error) {
  if ((std::get<uint64_t>(value) & ~system::KnownProcessors()) != 0) {
    error = L"This machine does not have all of these processors.";
    return false;
  }
  return true;
}

// The device, the rate and the block length belong to a session: while one runs, only its own are admitted.
bool admitForSession(const Application& app, bool same, std::wstring& error) {
  if (app.engine.asioRunning.load() && !same) {
    error = L"Stop ASIO before changing the device, the sample rate or the buffer size.";
    return false;
  }
  return true;
}

// The entry of the device list, whatever its case; null when there is none.
const std::wstring* listedDevice(const Application& app, const std::wstring& name) {
  const auto found = std::find_if(app.device.list.devices.begin(), app.device.list.devices.end(),
                                  [&](const std::wstring& d) { return platform::EqualIgnoringCase(d, name); });
  return found == app.device.list.devices.end() ? nullptr : &*found;
}

bool admitDevice(Application& app, const Value& value, std::wstring& error) {
  const auto& name = std::get<std::wstring>(value);
  if (listedDevice(app, name) == nullptr) {
    error = L"This device is not in the list.";
    return false;
  }
  return admitForSession(app, platform::EqualIgnoringCase(name, app.engine.session.deviceName), error);
}

bool admitRate(Application& app, const Value& value, std::wstring& error) {
  return admitForSession(app, std::get<double>(value) == app.engine.session.sampleRate.load(), error);
}

bool admitLength(Application& app, const Value& value, std::wstring& error) {
  return admitForSession(app, std::get<int32_t>(value) == app.engine.session.blockLength, error);
}

// The system is asked at once, as it may refuse.
bool admitRunAtStartup(Application& app, const Value& value, std::wstring& error) {
  return SetRunAtStartup(app, std::get<bool>(value), error);
}

void changeDevice(Application& app, const Value& value) {
  SelectDevice(app, *listedDevice(app, std::get<std::wstring>(value)));
}

void changeUiPriority(Application& app, const Value& value) {
  SetUiPriority(app, std::get<int32_t>(value));
}

// A device that does not answer today is cleared from the selection, but stays stored.
constexpr Access kDevice = {[](const Application& app) -> std::optional<Value> {
                              return app.device.list.selected.empty() ? std::nullopt
                                                                      : std::optional<Value>(app.device.list.selected);
                            },
                            [](Application& app, const Value& value) {
                              const auto& name = std::get<std::wstring>(value);
                              app.device.list.selected = name.empty() ? sound::kVirtualDriverName : name;
                            }};

// The bundled effect goes where the program goes, so its path is not stored.
constexpr Access kEffect = {[](const Application& app) -> std::optional<Value> {
                              return app.host.pluginPath == BundledEffect() ? std::wstring() : app.host.pluginPath;
                            },
                            [](Application& app, const Value& value) {
                              const auto& path = std::get<std::wstring>(value);
                              app.host.pluginPath = path.empty() ? BundledEffect() : path;
                            }};

void changeEffect(Application& app, const Value& value) {
  ChooseEffect(app, std::get<std::wstring>(value));
}

engine::InstanceRow rowFrom(const settings::SavedInstance& saved) {
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

settings::SavedInstance savedFrom(const engine::InstanceRow& row) {
  settings::SavedInstance saved;
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

constexpr Access kInstances = {[](const Application& app) -> std::optional<Value> {
                                 std::vector<settings::SavedInstance> saved;
                                 for (const engine::InstanceRow& row : app.host.rows) {
                                   saved.push_back(savedFrom(row));
                                 }
                                 return settings::TextFromInstances(saved);
                               },
                               [](Application& app, const Value& value) {
                                 const auto saved = settings::InstancesFromText(std::get<std::wstring>(value));
                                 for (const settings::SavedInstance& instance : *saved) {
                                   engine::AddInstance(app.host, rowFrom(instance), nullptr);
                                 }
                               }};

template <SteeringGroup group>
constexpr Setting maskRow(const wchar_t* name, const char* meaning, const char* key) {
  const Access access = {[](const Application& app) -> std::optional<Value> {
                           return system::ChosenMasks(app.steering)[static_cast<size_t>(group)];
                         },
                         [](Application& app, const Value& value) {
                           system::SetSteeringMask(app.steering, group, std::get<uint64_t>(value));
                         }};
  const auto change = [](Application& app, const Value& value) {
    system::SteeringMasks masks = system::ChosenMasks(app.steering);
    masks[static_cast<size_t>(group)] = std::get<uint64_t>(value);
    SetSteering(app, masks);
  };
  return {name, {Kind::mask}, L"0", meaning, access, Patch::steering, key, Member::own, &admitMask, change};
}

// In the order of the status document.
constexpr Setting kSettings[] = {
    {L"device", kText, sound::kVirtualDriverName, "name as in the device list", kDevice, Patch::audio, "device",
     Member::own, &admitDevice, &changeDevice},
    {L"sampleRate", kRate, L"48000", "of the session", preference<&Preferences::sampleRate>(), Patch::audio,
     "sampleRate", Member::own, &admitRate},
    {L"bufferSize", kLength, L"256", "length of a block; 0 takes the device's preferred length",
     preference<&Preferences::bufferSize>(), Patch::audio, "bufferSize", Member::own, &admitLength},
    {kEffectSetting, kText, L"", "path of the effect's module file; empty for the bundled effect", kEffect, Patch::host,
     "pluginPath", Member::own, nullptr, &changeEffect},
    {L"instances", {Kind::instances}, L"[]", "the instances in order, see below", kInstances},
    {L"mmcssProAudio", kFlag, L"1", "the audio threads ask for the system's audio scheduling",
     field([](auto& app) -> auto& { return app.engine.mmcssEnabled; }), Patch::audio, "mmcssEnabled", Member::switches},
    {L"bypassAll", kFlag, L"0", "all instances are bypassed",
     field([](auto& app) -> auto& { return app.host.bypassAll; }), Patch::none, "bypassAllEnabled", Member::switches},
    {L"testSignalAll", kFlag, L"0", "all instances hear pink noise",
     field([](auto& app) -> auto& { return app.engine.testSignalAll; }), Patch::none, "testSignalAllEnabled",
     Member::switches},
    {L"autoStartAsio", kFlag, L"0", "the device starts with the program", preference<&Preferences::autoStartAsio>(),
     Patch::audio, "autoStartAsioEnabled", Member::settings},
    {L"runAtStartup", kFlag, L"0", "the program starts with the system", preference<&Preferences::runAtStartup>(),
     Patch::host, "runAtStartupEnabled", Member::settings, &admitRunAtStartup},
    {L"rememberSettings", kFlag, L"1", "changes are stored", preference<&Preferences::rememberSettings>(), Patch::host,
     "rememberSettingsEnabled", Member::settings},
    {L"autoStartInstances", kFlag, L"0", "the host starts with the program",
     preference<&Preferences::autoStartInstances>(), Patch::host, "autoStartInstancesEnabled", Member::settings},
    {L"scheduleSystemRebootEnabled", kFlag, L"0", "the computer restarts every day",
     preference<&Preferences::scheduleReboot>(), Patch::host, "scheduleSystemRebootEnabled", Member::settings},
    {L"schedulePcRestartMinutes", kTimeOfDay, L"360", "when it restarts", preference<&Preferences::restartTime>(),
     Patch::host, "scheduleRebootMinutes", Member::settings},
    {L"enginePriority", kPriority, L"5", "of the threads that play",
     field([](auto& app) -> auto& { return app.engine.enginePriority; }), Patch::audio, "enginePriority",
     Member::settings},
    {L"uiPriority", kPriority, L"1", "of the windows",
     field([](auto& app) -> auto& { return app.systemControl.uiPriority; }), Patch::audio, "uiPriority",
     Member::settings, nullptr, &changeUiPriority},
    {L"audioPriority", kPriority, L"2", "of recorder and player",
     field([](auto& app) -> auto& { return app.systemControl.audioPriority; }), Patch::audio, "audioPriority",
     Member::settings},
    {L"networkPriority", kPriority, L"2", "of the remote control",
     field([](auto& app) -> auto& { return app.systemControl.networkPriority; }), Patch::host, "networkPriority",
     Member::settings},
    maskRow<SteeringGroup::engine>(L"cpuSteeringMaskEngine", "processors of the threads that play", "engineMask"),
    maskRow<SteeringGroup::record>(L"cpuSteeringMaskRecord", "processors of the recorder", "recordMask"),
    maskRow<SteeringGroup::playback>(L"cpuSteeringMaskPlayback", "processors of the player", "playbackMask"),
    maskRow<SteeringGroup::networkUi>(L"cpuSteeringMaskNetworkUi", "processors of windows and remote control",
                                      "networkUiMask"),
    maskRow<SteeringGroup::otherProcesses>(L"cpuSteeringMaskOtherProcesses", "processors of all other programs",
                                           "otherProcessesMask"),
};

}  // namespace

std::span<const Setting> Settings() {
  return kSettings;
}

const Setting& SettingNamed(std::wstring_view name) {
  return *std::find_if(std::begin(kSettings), std::end(kSettings),
                       [name](const Setting& setting) { return setting.name == name; });
}

std::wstring RefusalOf(const Setting& setting) {
  if (setting.form.kind == Kind::priority) {
    return L"There is no such priority.";
  }
  const Form& form = setting.form;
  return std::wstring(L"The ") + form.quantity + L" must lie between " + settings::TextFromValue(form.lowest) +
         L" and " + settings::TextFromValue(form.highest) + L" " + form.unit + L".";
}

}  // namespace tarnwick::app
