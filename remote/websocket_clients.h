// The WebSocket clients: who is connected, what each has yet to take, who watches the processors. Every frame is
// written whole under one lock and never waits for its client: what a client does not take at once stays in its outbox.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/socket.h"
#include "remote/push_state.h"
#include "remote/websocket_outbox.h"

namespace tarnwick::remote {

// One connection. Its session's thread owns it, reads the socket without a lock and closes it; all else is guarded by
// the lock of the client list.
struct WebSocketClient {
  WebSocketClient(platform::Socket connection, const ClientLimits& limits)
      : socket(std::move(connection)), outbox(limits) {}

  platform::Socket socket;  // does not wait
  WebSocketOutbox outbox;
  bool dropped = false;            // a send has failed, or the server stops; nothing more is sent
  bool watchesProcessors = false;  // asked for the usage of each processor
  bool isBehind = true;            // does not know what the others do: new, or was too slow for a message
  StateTexts given;                // of one that is behind: the state that it knows; empty when it missed one since
};

// Any thread, several at once. No callback may use the list.
class WebSocketClients {
 public:
  using SharedClient = std::shared_ptr<WebSocketClient>;
  using Time = WebSocketOutbox::Time;

  // Adds a client to the end of the list, unless it is dropped already.
  void add(SharedClient client);
  // Forgets it, also as one that watches the processors. Its session calls this before it ends.
  void remove(const SharedClient& client);
  // Drops all of them.
  void dropAll();

  // Frames for one client, in or outside the list. False when it is dropped.
  bool send(WebSocketClient& client, std::string frame);
  // A frame for each client of the list, in its order. One whose send fails is dropped.
  void broadcast(std::string frame);
  // Sends each client the frame that `frame` gives for it, in the list's order; null = none. Called under the lock.
  void broadcastEach(const std::function<SharedFrame(WebSocketClient&)>& frame);
  // Goes on with what is waiting.
  void flush();
  // The same for one client, in or outside the list: the bytes that are still waiting; nothing when it is dropped.
  std::optional<size_t> flush(WebSocketClient& client);

  bool isDropped(const WebSocketClient& client) const;
  bool empty() const;

  void watchProcessors(WebSocketClient& client, bool enabled);
  bool anyWatchesProcessors() const;

 private:
  bool sendLocked(WebSocketClient& client, SharedFrame frame, Time now);
  static void flushLocked(WebSocketClient& client, Time now);
  // Ends the connection, which wakes its session.
  static void dropLocked(WebSocketClient& client);
  void forgetDroppedLocked();

  mutable std::mutex mutex_;
  std::vector<SharedClient> clients_;
};

}  // namespace tarnwick::remote
