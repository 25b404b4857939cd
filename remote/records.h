// The records that the server and the application exchange. Channels and indices count from 0; -1 = none.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "system/cpu_steering.h"

namespace tarnwick::remote {

struct RemoteInstance {
  std::wstring name;
  int32_t inputChannel = -1;
  int32_t outputChannel = -1;
  double inputGainDb = 0.0;
  double outputGainDb = 0.0;
  float inputMeterDb = -100.0f;   // the instance's meter
  float outputMeterDb = -100.0f;  // of the output channel that it is added to
  uint64_t glitchCount = 0;       // dropouts since host start
  double firstParamPercent = 0.0;
  bool bypassEnabled = false;
  bool testSignalEnabled = false;
  bool hasSavedFirstParam = false;
};

struct RemoteCpuSteering {
  int32_t cpuCount = 1;
  system::SteeringMasks masks{};                                // by SteeringGroup, as chosen
  std::array<std::wstring, system::kSteeringGroups> display{};  // the masks as texts
};

// A member of the status document that is a setting, as it stands there.
struct RemoteSetting {
  const char* key;
  std::variant<bool, int32_t, double, uint64_t, std::wstring> value;
};

struct RemoteStatusSnapshot {
  bool running = false;
  bool stopping = false;
  bool asioRunning = false;
  bool playbackRunning = false;
  bool recordRunning = false;
  uint64_t runningClockSyncId = 0;  // another number whenever the elapsed time has to be taken over anew
  uint64_t recordClockSyncId = 0;
  double runningElapsedSeconds = 0.0;
  std::vector<RemoteSetting> switches;
  double recordElapsedSeconds = 0.0;
  int32_t availableInputChannels = 0;
  int32_t availableOutputChannels = 0;
  std::wstring pluginPath;
  std::wstring device;        // the selected one, or the placeholder shown when there is none
  double sampleRate = 0.0;    // Hz
  int32_t bufferSize = 0;     // samples
  int32_t inputLatency = -1;  // samples; negative = unknown
  int32_t outputLatency = -1;
  std::wstring cpuDisplayName;
  std::vector<std::wstring> deviceOptions;
  std::vector<double> sampleRateOptions;   // Hz
  std::vector<int32_t> bufferSizeOptions;  // samples
  std::vector<RemoteSetting> settings;
  float cpuUsagePercent = 0.0f;
  std::vector<float> cpuCoreUsagePercents;  // empty while nobody asked for them
  RemoteCpuSteering cpuSteering;
  std::vector<RemoteInstance> instances;
};

struct RemoteRecordChannel {
  int32_t channelIndex = 0;
  std::wstring asioName;
  std::wstring recordName;
  bool enabled = false;
};

struct RemoteRecordSnapshot {
  bool windowOpen = false;
  bool recordRunning = false;
  uint64_t recordClockSyncId = 0;
  double recordElapsedSeconds = 0.0;
  std::wstring recordingFolder;
  std::vector<RemoteRecordChannel> inputChannels;
  std::vector<RemoteRecordChannel> outputChannels;
};

struct RemotePlaylistItem {
  std::wstring path;
  std::wstring filename;
  std::wstring lengthText;
  std::wstring gainText;
  bool selected = false;
  bool current = false;
  bool missing = false;
};

struct RemotePlaylist {
  std::wstring name;
  int32_t selectedIndex = -1;
  int32_t currentIndex = -1;
  std::vector<RemotePlaylistItem> items;
};

// Where the play position stands; kept apart because it moves all the time.
struct RemotePlaybackPosition {
  double currentSeconds = 0.0;
  double totalSeconds = 0.0;
  double playbackProgress = 0.0;  // 0..1
};

struct RemoteFadeIndices {
  int32_t playIn = 0;
  int32_t pauseOut = 0;
  int32_t stopOut = 0;
  int32_t changeIn = 0;
  int32_t changeOut = 0;
  int32_t changeCross = 0;
};

struct RemotePlaybackSnapshot {
  bool windowOpen = false;
  bool loaded = false;
  bool playing = false;
  bool paused = false;
  bool normalizeEnabled = false;
  bool waveformEnabled = false;
  int32_t playMode = 0;
  int32_t volumeDbTenths = 0;
  int32_t leftOutputChannel = -1;
  int32_t rightOutputChannel = -1;
  int32_t outputChannelCount = 0;
  RemoteFadeIndices fades;
  int32_t activePlaylistTabIndex = 0;
  RemotePlaybackPosition position;
  std::wstring currentLengthText;
  std::wstring selectedWaveformPath;
  std::vector<float> selectedWaveformOverview;
  std::vector<RemotePlaylist> playlists;
};

// The processors that the threads of one work group run on.
struct RemoteGroupGrant {
  std::wstring running;  // "2, 3"; empty when not known
  bool refused = false;  // the system refused what was chosen
};

// A priority that threads of the program have asked for.
struct RemotePriorityGrant {
  std::wstring work;     // of these threads: "Audio callback"
  std::wstring asked;    // "Realtime"
  std::wstring granted;  // "nice -20"
  bool met = true;       // they have what they asked for
};

// The system's answer to the choices in the status document.
struct RemoteGrants {
  bool processRefused = false;  // the program could not be limited to the processors of its groups
  std::array<RemoteGroupGrant, system::kSteeringGroups> groups;  // by SteeringGroup; nothing of the other processes
  std::vector<RemotePriorityGrant> priorities;
};

// Blocks that were late or lost by the report of the device or its server, since the device was started.
struct RemoteXruns {
  uint64_t count = 0;
  std::wstring last;  // local time of the last report, "14:02:11"; empty before the first
};

// One entry of a file list.
struct RemotePlaybackFileEntry {
  std::wstring name;  // of a drive or place: the path to go to
  bool isDirectory = false;
  bool isDrive = false;
};

// A patch changes only what it names. One of the settings has the parameters of the request, as the client wrote them:
// the application knows their keys and the kind of each, and passes over others.
using RemoteSettingsPatch = std::map<std::string, std::string>;
using RemoteHostConfigPatch = RemoteSettingsPatch;
using RemoteAudioConfigPatch = RemoteSettingsPatch;
using RemoteCpuSteeringPatch = RemoteSettingsPatch;

struct RemoteInstancePatch {
  std::optional<std::wstring> name;
  std::optional<int32_t> inputChannel;
  std::optional<int32_t> outputChannel;
  std::optional<double> inputGainDb;
  std::optional<double> outputGainDb;
  std::optional<double> firstParamPercent;
  std::optional<bool> bypassEnabled;
  std::optional<bool> testSignalEnabled;
};

struct RemoteRecordChannelPatch {
  std::optional<bool> enabled;
  std::optional<std::wstring> name;
};

}  // namespace tarnwick::remote
