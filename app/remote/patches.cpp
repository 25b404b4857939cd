#include "app/remote/patches.h"

#include <algorithm>
#include <cmath>

#include "platform/text.h"
#include "platform/threads.h"
#include "system/priority.h"

namespace tarnwick::app {
namespace {

constexpr double kLowestRate = 1000.0;  // Hz
constexpr double kHighestRate = 384000.0;
constexpr int32_t kLongestBlock = 65536;  // samples
constexpr int32_t kMinutesOfADay = 24 * 60;

bool refuse(std::wstring& error, const wchar_t* text) {
  error = text;
  return false;
}

bool isPriority(const std::optional<int32_t>& index) {
  return !index || *index == system::ClampPriorityIndex(*index);
}

// The entry of the device list, whatever its case; null when there is none.
const std::wstring* listedDevice(const Application& app, const std::wstring& name) {
  const auto found = std::find_if(app.device.list.devices.begin(), app.device.list.devices.end(),
                                  [&](const std::wstring& d) { return platform::EqualIgnoringCase(d, name); });
  return found == app.device.list.devices.end() ? nullptr : &*found;
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
    return refuse(error, L"The sample rate must lie between 1000 and 384000 Hz.");
  }
  if (patch.bufferSize && (*patch.bufferSize < 0 || *patch.bufferSize > kLongestBlock)) {
    return refuse(error, L"The buffer size must lie between 0 and 65536 samples.");
  }
  if (!isPriority(patch.enginePriority) || !isPriority(patch.uiPriority) || !isPriority(patch.audioPriority)) {
    return refuse(error, L"There is no such priority.");
  }
  return fitsSession(app, patch, error);
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
    ChooseEffect(app, *patch.pluginPath);
  }
  app.changed(Changed::setting);
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
  app.changed(Changed::setting);
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
  app.changed(Changed::setting);
  return true;
}

bool ApplyInstancePatch(Application& app, uint32_t index, const remote::RemoteInstancePatch& patch,
                        std::wstring& error) {
  InstanceChange change;
  change.name = patch.name;
  change.inputChannel = patch.inputChannel;
  change.outputChannel = patch.outputChannel;
  change.inputGainDb = patch.inputGainDb;
  change.outputGainDb = patch.outputGainDb;
  change.bypassEnabled = patch.bypassEnabled;
  change.testSignalEnabled = patch.testSignalEnabled;
  change.firstParamPercent = patch.firstParamPercent;
  return ChangeInstance(app, index, change, error);
}

}  // namespace tarnwick::app
