// The push thread's work: tells all WebSocket clients what has changed. Belongs to that thread.
#pragma once

#include <chrono>
#include <functional>

#include "remote/push_state.h"
#include "remote/websocket_clients.h"

namespace tarnwick::remote {

class Pusher {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::chrono::milliseconds kCycle{100};
  static constexpr std::chrono::milliseconds kPingInterval{5000};

  // `addUsage` fills in the processors' usage. The arguments outlive the object; pings count from `now`.
  Pusher(WebSocketClients& clients, const RemoteControlCallbacks& callbacks,
         std::function<void(RemoteStatusSnapshot&)> addUsage, Time now);

  // One cycle: a monitor message when anything but the meters has changed, the meters, and a ping when it is due. A
  // client that has not taken all that it was sent before gets the ping alone, and a full monitor message for those
  // that it missed once it has. Without clients it asks for nothing.
  void cycle(Time now);

 private:
  void pushState();

  WebSocketClients& clients_;
  const RemoteControlCallbacks& callbacks_;
  std::function<void(RemoteStatusSnapshot&)> addUsage_;
  Time lastPing_;
  std::optional<StateTexts> pushed_;  // what listed clients know; empty while there are none
};

}  // namespace tarnwick::remote
