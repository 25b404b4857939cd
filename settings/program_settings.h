// The settings of the program, but for the player's, in their own types. Every one is stored under the name of its
// field as a text:
//   texts                as they are; may be empty
//   switches             "1" or "0"
//   whole numbers        decimal, "-12"
//   sampleRate           decimal with a point, as short as it reads back: "44100", "44056.5"
//   masks                decimal, unsigned 64-bit: bit k = logical processor k, 0 = no choice
//   instances            JSON, see saved_instances.h
// The forms do not depend on the language of the system.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "settings/saved_instances.h"
#include "settings/settings_store.h"

namespace tarnwick::settings {

// A setting that is absent keeps what the program has without it.
struct ProgramSettings {
  std::optional<std::wstring> pluginPath;
  std::optional<std::wstring> device;
  std::optional<double> sampleRate;   // Hz, 1000..384000
  std::optional<int32_t> bufferSize;  // samples, 0..65536
  std::optional<bool> mmcssProAudio;
  std::optional<int32_t> enginePriority;  // rows of the priority table, 0..5
  std::optional<int32_t> audioPriority;
  std::optional<int32_t> uiPriority;
  std::optional<int32_t> networkPriority;
  std::optional<bool> bypassAll;
  std::optional<bool> testSignalAll;
  std::optional<std::vector<SavedInstance>> instances;
  std::optional<bool> rememberSettings;
  std::optional<bool> runAtStartup;
  std::optional<bool> autoStartInstances;
  std::optional<bool> autoStartAsio;
  std::optional<bool> scheduleSystemRebootEnabled;
  std::optional<int32_t> schedulePcRestartMinutes;  // since midnight, 0..1439
  // "cpuSteeringMaskEngine", "...Record", "...Playback", "...NetworkUi", "...OtherProcesses".
  std::array<std::optional<uint64_t>, 5> cpuSteeringMasks;

  bool operator==(const ProgramSettings&) const = default;
};

// What the map holds of these; other names are passed over. A value that is not of its form or cannot be meant is
// absent and costs nothing else: a number outside its range (a priority is clamped instead), a text of more than 32767
// units or with a zero in it.
ProgramSettings SettingsFromMap(const SettingsMap& map);

// The entries of what is present; a rate that could not be read back gives none. Reads back to the same.
SettingsMap MapFromSettings(const ProgramSettings& settings);

}  // namespace tarnwick::settings
