// An application behind the remote control's callbacks that writes down what it is asked for.
#pragma once

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/text.h"
#include "remote/callbacks.h"

namespace tarnwick::remote {

struct FakeApplication {
  RemoteControlCallbacks callbacks;
  std::string calls;  // "name value value; name ..." with "-" for what a patch does not name
  bool answer = true;
  std::string refused;            // the one call that is refused
  std::wstring text;              // filled into every text that it may fill
  std::wstring device = L"Desk";  // selected

  FakeApplication() {
    const auto recorder = [this](const char* name) {
      return [this, name](auto&&... values) {
        std::string call = name;
        (take(call, std::forward<decltype(values)>(values)), ...);
        calls.append(calls.empty() ? "" : "; ").append(call);
        return answer && call != refused;
      };
    };
    RemoteControlCallbacks& c = callbacks;
    c.status = recorder("status");
    c.record = recorder("record");
    c.playback = recorder("playback");
    c.playbackFiles = recorder("playbackFiles");
    c.pluginFiles = recorder("pluginFiles");
    c.playbackSearch = recorder("search");
    c.hostConfig = recorder("host");
    c.cpuSteering = recorder("steering");
    c.audioConfig = recorder("audio");
    c.instance = recorder("instance");
    c.recordChannel = recorder("channel");
    c.startHost = recorder("startHost");
    c.stopHost = recorder("stopHost");
    c.startAsio = recorder("startAsio");
    c.refreshAsio = recorder("refreshAsio");
    c.stopAsio = recorder("stopAsio");
    c.reboot = recorder("reboot");
    c.shutdown = recorder("shutdown");
    c.openCpuSteering = recorder("openCpuSteering");
    c.openRecord = recorder("openRecord");
    c.openPlayback = recorder("openPlayback");
    c.addInstance = recorder("addInstance");
    c.removeLastInstance = recorder("removeLastInstance");
    c.toggleBypassAll = recorder("toggleBypassAll");
    c.toggleTestSignalAll = recorder("toggleTestSignalAll");
    c.toggleRecord = recorder("toggleRecord");
    c.addPath = recorder("addPath");
    c.addPaths = recorder("addPaths");
    c.playMode = recorder("mode");
    c.playbackVolume = recorder("volume");
    c.playbackNormalize = recorder("normalize");
    c.playbackWaveform = recorder("waveform");
    c.playbackOutputs = recorder("outputs");
    c.playbackFades = recorder("fades");
    c.playbackTab = recorder("tab");
    c.playbackItem = recorder("item");
    c.playbackSeek = recorder("seek");
    c.playbackControl = recorder("control");
  }

 private:
  // What may be written to is filled, anything else noted.
  template <typename Value>
  void take(std::string& call, Value&& value) {
    if constexpr (std::is_lvalue_reference_v<Value> && !std::is_const_v<std::remove_reference_t<Value>>) {
      fill(value);
    } else {
      note(call, value);
    }
  }

  void fill(std::wstring& value) { value = text; }
  void fill(RemoteStatusSnapshot& status) { status.device = device; }
  void fill(RemoteControlCallbacks::FileEntries& entries) { entries.push_back({L"a.wav", false, false}); }
  void fill(RemoteSeek& reached) { reached = {L"a.wav", 1.5, 60.0}; }
  void fill(RemoteRecordSnapshot&) {}
  void fill(RemotePlaybackSnapshot&) {}

  static void note(std::string& call, bool value) { call += value ? " true" : " false"; }
  template <typename Number>
  requires std::is_arithmetic_v<Number>
  static void note(std::string& call, Number value) { call.append(" ").append(std::to_string(value)); }
  static void note(std::string& call, const std::string& value) { call.append(" ").append(value); }
  static void note(std::string& call, const std::wstring& value) {
    call.append(" ").append(platform::Utf8FromWide(value));
  }
  template <typename Value>
  static void note(std::string& call, const std::optional<Value>& value) {
    value ? note(call, *value) : note(call, std::string("-"));
  }
  template <typename... Values>
  static void noteAll(std::string& call, const Values&... values) {
    (note(call, values), ...);
  }
  template <typename Value, size_t size>
  static void note(std::string& call, const std::array<Value, size>& values) {
    std::apply([&call](const auto&... each) { noteAll(call, each...); }, values);
  }
  static void note(std::string& call, const std::vector<std::wstring>& values) {
    for (const std::wstring& value : values) {
      note(call, value);
    }
  }
  static void note(std::string& call, const RemoteHostConfigPatch& p) {
    noteAll(call, p.runAtStartupEnabled, p.rememberSettingsEnabled, p.autoStartInstancesEnabled,
            p.scheduleSystemRebootEnabled, p.scheduleRebootMinutes, p.networkPriority, p.pluginPath);
  }
  static void note(std::string& call, const RemoteCpuSteeringPatch& p) { note(call, p.masks); }
  static void note(std::string& call, const RemoteAudioConfigPatch& p) {
    noteAll(call, p.device, p.sampleRate, p.bufferSize, p.autoStartAsioEnabled, p.mmcssEnabled, p.enginePriority,
            p.uiPriority, p.audioPriority);
  }
  static void note(std::string& call, const RemoteInstancePatch& p) {
    noteAll(call, p.name, p.inputChannel, p.outputChannel, p.inputGainDb, p.outputGainDb, p.firstParamPercent,
            p.bypassEnabled, p.testSignalEnabled);
  }
  static void note(std::string& call, const RemoteRecordChannelPatch& p) { noteAll(call, p.enabled, p.name); }
  static void note(std::string& call, const RemoteItemAction& p) {
    noteAll(call, p.action, p.tab, p.item, p.mode, p.preserve);
  }
};

}  // namespace tarnwick::remote
