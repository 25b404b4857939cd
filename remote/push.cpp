#include "remote/push.h"

#include "remote/documents.h"
#include "remote/websocket_frames.h"

namespace tarnwick::remote {
namespace {

SharedFrame sharedText(const std::string& text) {
  return std::make_shared<const std::string>(TextFrame(text));
}

}  // namespace

Pusher::Pusher(WebSocketClients& clients, const RemoteControlCallbacks& callbacks,
               std::function<void(RemoteStatusSnapshot&)> addUsage, Time now)
    : clients_(clients), callbacks_(callbacks), addUsage_(std::move(addUsage)), lastPing_(now) {}

void Pusher::cycle(Time now) {
  if (clients_.empty()) {
    pushed_.reset();
  } else {
    pushState();
  }
  if (now - lastPing_ >= kPingInterval) {
    lastPing_ = now;
    clients_.broadcast(ControlFrame(kPingOpcode));
  }
}

void Pusher::pushState() {
  PushedState state;
  if (!TakeState(callbacks_, state)) {
    return;
  }
  addUsage_(state.status);
  const StateTexts texts = TextsOf(state);
  if (!pushed_) {
    pushed_ = texts;
  }

  // A section that did not answer is neither changed nor forgotten.
  const ChangedSections changed{texts.record && texts.record != pushed_->record,
                                texts.playback && texts.playback != pushed_->playback};
  SharedFrame monitor;
  if (changed.record || changed.playback || texts.status != pushed_->status) {
    monitor = sharedText(MonitorOf(state, changed));
  }
  pushed_->status = texts.status;
  if (changed.record) {
    pushed_->record = texts.record;
  }
  if (changed.playback) {
    pushed_->playback = texts.playback;
  }

  // One that still has to take something would get all that follows later and later. It is told everything once it has.
  SharedFrame full;
  clients_.broadcastEach([&](WebSocketClient& client) {
    if (!client.outbox.empty()) {
      if (monitor && !client.isBehind) {
        client.isBehind = true;
        client.given = {};
      }
      return SharedFrame();
    }
    if (!client.isBehind) {
      return monitor;
    }
    // The state that a new client was sent may be older or newer than the others' by now.
    const bool whole = (texts.record || !pushed_->record) && (texts.playback || !pushed_->playback);
    if (!whole) {
      return SharedFrame();  // a section that others know did not answer: in one of the next cycles
    }
    client.isBehind = false;
    const StateTexts given = std::move(client.given);
    if (given == texts) {
      return SharedFrame();
    }
    if (!full) {
      full = sharedText(FullMonitorOf(state));
    }
    return full;
  });
  const SharedFrame meters = sharedText(MetersMessage(state.status));
  clients_.broadcastEach([&meters](WebSocketClient& client) { return client.outbox.empty() ? meters : SharedFrame(); });
}

}  // namespace tarnwick::remote
