// How the server reaches the application. Each callback may be empty, which counts as a refusal (an action without an
// error of its own is then accepted and does nothing). They are called on the server's threads, several at once; they
// return true for success, and those with an error text may fill it to explain a failure.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "remote/records.h"

namespace tarnwick::remote {

// Where a seek went, for all pages.
struct RemoteSeek {
  std::wstring path;
  double currentSeconds = 0.0;
  double totalSeconds = 0.0;
};

// "/api/playback/item": `item` and `tab` are -1 when not given.
struct RemoteItemAction {
  std::string action;
  int32_t tab = -1;
  int32_t item = -1;
  std::string mode;  // of "select": "single", "toggle", "range"
  bool preserve = false;
};

struct RemoteControlCallbacks {
  using FileEntries = std::vector<RemotePlaybackFileEntry>;
  using Action = std::function<bool()>;
  using ActionWithError = std::function<bool(std::wstring& error)>;

  // State. A call waits for the user-interface thread at most 1000 ms.
  std::function<bool(RemoteStatusSnapshot&)> status;
  std::function<bool(RemoteRecordSnapshot&)> record;
  std::function<bool(RemotePlaybackSnapshot&)> playback;
  // Without the priority of the server's own threads, which it adds itself.
  std::function<bool(RemoteGrants&)> grants;
  std::function<bool(RemoteXruns&)> xruns;

  // Folders.
  std::function<bool(const std::wstring& path, FileEntries& entries, std::wstring& resolved, std::wstring& error)>
      playbackFiles;
  std::function<bool(const std::wstring& path, FileEntries& entries, std::wstring& resolved, std::wstring& error)>
      pluginFiles;
  std::function<bool(const std::wstring& root, const std::wstring& query, FileEntries& entries, std::wstring& error)>
      playbackSearch;

  // Patches. A call waits for the user-interface thread at most 1000 ms.
  std::function<bool(const RemoteHostConfigPatch&)> hostConfig;
  std::function<bool(const RemoteCpuSteeringPatch&)> cpuSteering;
  std::function<bool(const RemoteAudioConfigPatch&)> audioConfig;
  std::function<bool(uint32_t index, const RemoteInstancePatch&)> instance;
  std::function<bool(bool isInput, int32_t channelIndex, const RemoteRecordChannelPatch&)> recordChannel;

  // Actions; they are posted, so they return before the action has run, and false when it could not be posted.
  ActionWithError startHost;
  Action stopHost;
  Action startAsio;
  Action refreshAsio;
  ActionWithError stopAsio;
  Action reboot;
  Action shutdown;
  Action openCpuSteering;
  Action openRecord;
  Action openPlayback;
  Action addInstance;
  Action removeLastInstance;
  Action toggleBypassAll;
  Action toggleTestSignalAll;

  // Recorder.
  ActionWithError toggleRecord;

  // Player.
  std::function<bool(const std::wstring& path, std::wstring& error)> addPath;
  std::function<bool(const std::vector<std::wstring>& paths, std::wstring& error)> addPaths;
  std::function<bool(int32_t playMode)> playMode;
  std::function<bool(int32_t volumeDbTenths)> playbackVolume;
  std::function<bool(bool enabled)> playbackNormalize;
  std::function<bool(bool enabled)> playbackWaveform;
  std::function<bool(std::optional<int32_t> left, std::optional<int32_t> right)> playbackOutputs;
  // The indices given, in the order playIn, pauseOut, stopOut, changeIn, changeOut, changeCross.
  std::function<bool(const std::array<std::optional<int32_t>, 6>& indices)> playbackFades;
  std::function<bool(const std::string& action, int32_t tab, const std::wstring& name)> playbackTab;
  std::function<bool(const RemoteItemAction& item, std::wstring& error)> playbackItem;
  std::function<bool(double seconds, RemoteSeek& reached, std::wstring& error)> playbackSeek;
  std::function<bool(const std::string& action, std::wstring& error)> playbackControl;
};

}  // namespace tarnwick::remote
