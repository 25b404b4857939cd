// The state that the server pushes, and as texts that part of it which pages hear of only when it changes. Any thread.
#pragma once

#include <optional>
#include <string>

#include "remote/callbacks.h"

namespace tarnwick::remote {

struct PushedState {
  RemoteStatusSnapshot status;
  std::optional<RemoteRecordSnapshot> record;
  std::optional<RemotePlaybackSnapshot> playback;
};

// Asks the callbacks, each at most 1000 ms; a section without a callback, or whose callback fails, stays out. False
// without a status. The processors' usage is not filled in.
bool TakeState(const RemoteControlCallbacks& callbacks, PushedState& state);

// The sections as documents, without elapsed times, meters and play position: these run on by themselves.
struct StateTexts {
  std::optional<std::string> status;
  std::optional<std::string> record;
  std::optional<std::string> playback;

  bool operator==(const StateTexts&) const = default;
};
StateTexts TextsOf(const PushedState& state);

// With the sections that `changed` names.
struct ChangedSections {
  bool record = false;
  bool playback = false;
};
std::string MonitorOf(const PushedState& state, ChangedSections changed);
// With all that the state has.
std::string FullMonitorOf(const PushedState& state);

}  // namespace tarnwick::remote
