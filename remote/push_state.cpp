#include "remote/push_state.h"

#include "remote/documents.h"

namespace tarnwick::remote {
namespace {

std::string textOf(RemoteStatusSnapshot status) {
  status.runningElapsedSeconds = 0.0;
  status.recordElapsedSeconds = 0.0;
  for (RemoteInstance& instance : status.instances) {
    instance.inputMeterDb = 0.0f;
    instance.outputMeterDb = 0.0f;
  }
  return StatusDocument(status);
}

std::string textOf(RemoteRecordSnapshot record) {
  record.recordElapsedSeconds = 0.0;
  return RecordDocument(record);
}

std::string textOf(RemotePlaybackSnapshot playback) {
  playback.position = {};
  return PlaybackDocument(playback);
}

}  // namespace

bool TakeState(const RemoteControlCallbacks& callbacks, PushedState& state) {
  if (!callbacks.status || !callbacks.status(state.status)) {
    return false;
  }
  if (callbacks.playback && !callbacks.playback(state.playback.emplace())) {
    state.playback.reset();
  }
  if (callbacks.record && !callbacks.record(state.record.emplace())) {
    state.record.reset();
  }
  return true;
}

StateTexts TextsOf(const PushedState& state) {
  StateTexts texts;
  texts.status = textOf(state.status);
  if (state.record) {
    texts.record = textOf(*state.record);
  }
  if (state.playback) {
    texts.playback = textOf(*state.playback);
  }
  return texts;
}

std::string MonitorOf(const PushedState& state, ChangedSections changed) {
  return MonitorMessage(state.status, changed.record && state.record ? &*state.record : nullptr,
                        changed.playback && state.playback ? &*state.playback : nullptr);
}

std::string FullMonitorOf(const PushedState& state) {
  return MonitorOf(state, {true, true});
}

}  // namespace tarnwick::remote
