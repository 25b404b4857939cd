// An application behind the remote control's callbacks that writes down what it is asked for.
#pragma once

#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/text.h"
#include "remote/callbacks.h"

namespace tarnwick::remote {

// Values as words, "-" for what a patch does not name.
class CallWords {
 public:
  explicit CallWords(const char* name) { words_ << std::boolalpha << name; }
  std::string take() const { return words_.str(); }

  template <typename Value>
  void add(const Value& value) {
    words_ << ' ' << value;
  }
  void add(const std::wstring& value) { add(platform::Utf8FromWide(value)); }
  template <typename Value>
  void add(const std::optional<Value>& value) {
    value ? add(*value) : add('-');
  }
  template <typename Value, size_t size>
  void add(const std::array<Value, size>& values) {
    std::apply([this](const auto&... each) { all(each...); }, values);
  }
  void add(const std::vector<std::wstring>& values) {
    for (const std::wstring& value : values) {
      add(value);
    }
  }
  void add(const RemoteSettingsPatch& p) {
    for (const auto& [key, value] : p) {
      add(key + "=" + value);
    }
  }
  void add(const RemoteInstancePatch& p) {
    all(p.name, p.inputChannel, p.outputChannel, p.inputGainDb, p.outputGainDb, p.firstParamPercent, p.bypassEnabled,
        p.testSignalEnabled);
  }
  void add(const RemoteRecordChannelPatch& p) { all(p.enabled, p.name); }
  void add(const RemoteItemAction& p) { all(p.action, p.tab, p.item, p.mode, p.preserve); }

 private:
  template <typename... Values>
  void all(const Values&... values) {
    (add(values), ...);
  }
  std::ostringstream words_;
};

struct FakeApplication {
  RemoteControlCallbacks callbacks;
  std::string calls;  // "name value value; name ..."
  bool answer = true;
  std::string refused;            // the one call that is refused
  std::wstring text;              // filled into every text that it may fill
  std::wstring device = L"Desk";  // selected

  FakeApplication() {
    using C = RemoteControlCallbacks;
    record("status", &C::status, "record", &C::record, "playback", &C::playback, "grants", &C::grants, "xruns",
           &C::xruns, "playbackFiles", &C::playbackFiles, "pluginFiles", &C::pluginFiles, "search", &C::playbackSearch,
           "host", &C::hostConfig, "steering", &C::cpuSteering, "audio", &C::audioConfig, "instance", &C::instance,
           "channel", &C::recordChannel, "startHost", &C::startHost, "stopHost", &C::stopHost, "startAsio",
           &C::startAsio, "refreshAsio", &C::refreshAsio, "stopAsio", &C::stopAsio, "reboot", &C::reboot, "shutdown",
           &C::shutdown, "openCpuSteering", &C::openCpuSteering, "openRecord", &C::openRecord, "openPlayback",
           &C::openPlayback, "addInstance", &C::addInstance, "removeLastInstance", &C::removeLastInstance,
           "toggleBypassAll", &C::toggleBypassAll, "toggleTestSignalAll", &C::toggleTestSignalAll, "toggleRecord",
           &C::toggleRecord, "addPath", &C::addPath, "addPaths", &C::addPaths, "mode", &C::playMode, "volume",
           &C::playbackVolume, "normalize", &C::playbackNormalize, "waveform", &C::playbackWaveform, "outputs",
           &C::playbackOutputs, "fades", &C::playbackFades, "tab", &C::playbackTab, "item", &C::playbackItem, "seek",
           &C::playbackSeek, "control", &C::playbackControl);
  }

 private:
  void record() {}
  template <typename Callback, typename... More>
  void record(const char* name, Callback callback, More... more) {
    callbacks.*callback = [this, name](auto&&... values) {
      CallWords call(name);
      (take(call, std::forward<decltype(values)>(values)), ...);
      calls.append(calls.empty() ? "" : "; ").append(call.take());
      return answer && call.take() != refused;
    };
    record(more...);
  }

  // A value that may be written to is filled, any other noted.
  template <typename Value>
  void take(CallWords& call, Value&& value) {
    if constexpr (std::is_lvalue_reference_v<Value> && !std::is_const_v<std::remove_reference_t<Value>>) {
      fill(value);
    } else {
      call.add(value);
    }
  }
  void fill(std::wstring& value) { value = text; }
  void fill(RemoteStatusSnapshot& status) { status.device = device; }
  void fill(RemoteControlCallbacks::FileEntries& entries) { entries.push_back({L"a.wav", false, false}); }
  void fill(RemoteSeek& reached) { reached = {L"a.wav", 1.5, 60.0}; }
  void fill(RemoteRecordSnapshot&) {}
  void fill(RemoteGrants&) {}
  void fill(RemoteXruns&) {}
  void fill(RemotePlaybackSnapshot&) {}
};

}  // namespace tarnwick::remote
