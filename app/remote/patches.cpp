#include "app/remote/patches.h"

#include <algorithm>
#include <cmath>

#include "app/device.h"
#include "app/settings.h"
#include "app/system_requests.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "system/priority.h"

namespace tarnwick::app {
namespace {

constexpr double kLowestRate = 1000.0;  // Hz
constexpr double kHighestRate = 768000.0;
constexpr int32_t kLongestBlock = 65536;  // samples
constexpr int32_t kMinutesOfADay = 24 * 60;

bool refuse(std::wstring& error, const wchar_t* text) {
  error = text;
  return false;
}

bool isPriority(const std::optional<int32_t>& index) {
  return !index || *index == system::ClampPriorityIndex(*index);
}

// A finite number of dB, in range after clamping; a fraction is cut off as in a gain text.
int32_t gainOf(double db) {
  return engine::ClampGainDb(static_cast<int64_t>(std::clamp(db, -1000.0, 1000.0)));
}

// The entry of the device list, whatever its case; null when there is none.
const std::wstring* listedDevice(const Application& app, const std::wstring& name) {
  const auto found = std::find_if(app.devices.devices.begin(), app.devices.devices.end(),
                                  [&](const std::wstring& d) { return platform::EqualIgnoringCase(d, name); });
  return found == app.devices.devices.end() ? nullptr : &*found;
}

bool fitsSession(const Application& app, const remote::RemoteAudioConfigPatch& patch, std::wstring& error) {
  const engine::DeviceSession& session = app.engine.session;
  if (!app.engine.asioRunning.load()) {
    return true;
  }
  const bool sameDevice = !patch.device || platform::EqualIgnoringCase(*patch.device, session.deviceName);
  const bool sameRate = !patch.sampleRate || *patch.sampleRate == session.sampleRate.load();
  const bool sameLength = !patch.bufferSize || *patch.bufferSize == session.blockLength;
  return (sameDevice && sameRate && sameLength) ||
         refuse(error, L"Stop ASIO before changing the device, the sample rate or the buffer size.");
}

bool isAudioPatch(const Application& app, const remote::RemoteAudioConfigPatch& patch, std::wstring& error) {
  if (patch.device && listedDevice(app, *patch.device) == nullptr) {
    return refuse(error, L"This device is not in the list.");
  }
  if (patch.sampleRate && !(*patch.sampleRate >= kLowestRate && *patch.sampleRate <= kHighestRate)) {
    return refuse(error, L"The sample rate must lie between 1000 and 768000 Hz.");
  }
  if (patch.bufferSize && (*patch.bufferSize < 0 || *patch.bufferSize > kLongestBlock)) {
    return refuse(error, L"The buffer size must lie between 0 and 65536 samples.");
  }
  if (!isPriority(patch.enginePriority) || !isPriority(patch.uiPriority) || !isPriority(patch.audioPriority)) {
    return refuse(error, L"There is no such priority.");
  }
  return fitsSession(app, patch, error);
}

// Whether -1 (none) or a channel that there is, or may be once a device is open.
bool isChannel(const Application& app, const std::optional<int32_t>& channel, int32_t available) {
  const int32_t limit = app.engine.asioRunning.load() ? available : engine::kMostChannels;
  return !channel || (*channel >= -1 && *channel < limit);
}

}  // namespace

bool ApplyHostPatch(Application& app, const remote::RemoteHostConfigPatch& patch, std::wstring& error) {
  if (patch.scheduleRebootMinutes &&
      (*patch.scheduleRebootMinutes < 0 || *patch.scheduleRebootMinutes >= kMinutesOfADay)) {
    return refuse(error, L"The restart time must lie within a day.");
  }
  if (!isPriority(patch.networkPriority)) {
    return refuse(error, L"There is no such priority.");
  }
  if (patch.runAtStartupEnabled && !SetRunAtStartup(app, *patch.runAtStartupEnabled, error)) {
    return false;
  }
  Preferences& preferences = app.preferences;
  preferences.autoStartInstances = patch.autoStartInstancesEnabled.value_or(preferences.autoStartInstances);
  preferences.scheduleReboot = patch.scheduleSystemRebootEnabled.value_or(preferences.scheduleReboot);
  preferences.rebootMinutes = patch.scheduleRebootMinutes.value_or(preferences.rebootMinutes);
  if (patch.networkPriority) {
    SetNetworkPriority(app, *patch.networkPriority);
  }
  if (patch.pluginPath) {
    app.host.pluginPath = *patch.pluginPath;
    app.log.add(L"Effect: " + *patch.pluginPath +
                (app.engine.hostRunning.load() ? L" (used when the host is started again)" : L""));
  }
  NoteChange(app);
  if (patch.rememberSettingsEnabled) {
    SetRememberSettings(app, *patch.rememberSettingsEnabled);  // off stores what was changed with it
  }
  return true;
}

bool ApplyAudioPatch(Application& app, const remote::RemoteAudioConfigPatch& patch, std::wstring& error) {
  if (!isAudioPatch(app, patch, error)) {
    return false;
  }
  if (patch.device) {
    SelectDevice(app, *listedDevice(app, *patch.device));
  }
  Preferences& preferences = app.preferences;
  preferences.sampleRate = patch.sampleRate.value_or(preferences.sampleRate);
  preferences.bufferSize = patch.bufferSize.value_or(preferences.bufferSize);
  preferences.autoStartAsio = patch.autoStartAsioEnabled.value_or(preferences.autoStartAsio);
  if (patch.mmcssEnabled) {
    SetMmcss(app, *patch.mmcssEnabled);
  }
  if (patch.enginePriority) {
    SetEnginePriority(app, *patch.enginePriority);
  }
  if (patch.uiPriority) {
    SetUiPriority(app, *patch.uiPriority);
  }
  if (patch.audioPriority) {
    SetAudioPriority(app, *patch.audioPriority);
  }
  NoteChange(app);
  return true;
}

bool ApplySteeringPatch(Application& app, const remote::RemoteCpuSteeringPatch& patch, std::wstring& error) {
  const uint64_t known = system::KnownProcessors();
  system::SteeringMasks masks = system::ChosenMasks(app.steering);
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    if (patch.masks[group] && (*patch.masks[group] & ~known) != 0) {
      return refuse(error, L"This machine does not have all of these processors.");
    }
    masks[group] = patch.masks[group].value_or(masks[group]);
  }
  SetSteering(app, masks);
  NoteChange(app);
  return true;
}

bool ApplyInstancePatch(Application& app, uint32_t index, const remote::RemoteInstancePatch& patch,
                        std::wstring& error) {
  const engine::DeviceSession& session = app.engine.session;
  if (index >= app.host.rows.size()) {
    return refuse(error, L"There is no such instance.");
  }
  if (!isChannel(app, patch.inputChannel, session.numInputs) ||
      !isChannel(app, patch.outputChannel, session.numOutputs)) {
    return refuse(error, L"The device does not have this channel.");
  }
  const auto row = static_cast<int32_t>(index);
  engine::InstanceConfig config = app.host.rows[index].config;
  config.inputChannel = patch.inputChannel.value_or(config.inputChannel);
  config.outputChannel = patch.outputChannel.value_or(config.outputChannel);
  config.inputGainDb = patch.inputGainDb ? gainOf(*patch.inputGainDb) : config.inputGainDb;
  config.outputGainDb = patch.outputGainDb ? gainOf(*patch.outputGainDb) : config.outputGainDb;
  config.bypassEnabled = patch.bypassEnabled.value_or(config.bypassEnabled != 0) ? 1 : 0;
  config.testSignalEnabled = patch.testSignalEnabled.value_or(config.testSignalEnabled != 0) ? 1 : 0;
  if (patch.firstParamPercent) {
    const double percent = std::clamp(*patch.firstParamPercent, 0.0, 100.0);
    if (!engine::SetFirstParamPercent(app.host, row, static_cast<int32_t>(std::lround(percent)))) {
      return refuse(error, L"The effect does not take this value.");
    }
  }
  engine::ConfigureInstance(app.host, row, config);
  if (patch.name) {
    app.host.rows[index].name = *patch.name;
  }
  app.surface.refresh();
  NoteInstanceChange(app);
  return true;
}

}  // namespace tarnwick::app
