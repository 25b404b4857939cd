#include "remote/websocket_clients.h"

#include <algorithm>

namespace tarnwick::remote {
namespace {

// Some systems take a piece of any size as long as they have room for its beginning.
constexpr size_t kPiece = size_t{32} << 10;

WebSocketOutbox::Sender senderOf(WebSocketClient& client) {
  return [&client](std::string_view bytes) {
    const int64_t taken = client.socket.send(bytes.data(), std::min(bytes.size(), kPiece));
    return taken == platform::Socket::kWouldBlock ? int64_t{0} : taken <= 0 ? int64_t{-1} : taken;
  };
}

}  // namespace

void WebSocketClients::add(SharedClient client) {
  const std::lock_guard lock(mutex_);
  if (!client->dropped) {
    clients_.push_back(std::move(client));
  }
}

void WebSocketClients::remove(const SharedClient& client) {
  const std::lock_guard lock(mutex_);
  std::erase(clients_, client);
  client->watchesProcessors = false;
}

void WebSocketClients::dropAll() {
  const std::lock_guard lock(mutex_);
  for (const SharedClient& client : clients_) {
    dropLocked(*client);
  }
  clients_.clear();
}

bool WebSocketClients::send(WebSocketClient& client, std::string frame) {
  const std::lock_guard lock(mutex_);
  const bool sent =
      sendLocked(client, std::make_shared<const std::string>(std::move(frame)), std::chrono::steady_clock::now());
  forgetDroppedLocked();
  return sent;
}

void WebSocketClients::broadcast(std::string frame) {
  const auto shared = std::make_shared<const std::string>(std::move(frame));
  broadcastEach([&shared](WebSocketClient&) { return shared; });
}

void WebSocketClients::broadcastEach(const std::function<SharedFrame(WebSocketClient&)>& frame) {
  const std::lock_guard lock(mutex_);
  const Time now = std::chrono::steady_clock::now();
  for (const SharedClient& client : clients_) {
    if (SharedFrame each = frame(*client)) {
      sendLocked(*client, std::move(each), now);
    }
  }
  forgetDroppedLocked();
}

void WebSocketClients::flush() {
  const std::lock_guard lock(mutex_);
  const Time now = std::chrono::steady_clock::now();
  for (const SharedClient& client : clients_) {
    flushLocked(*client, now);
  }
  forgetDroppedLocked();
}

std::optional<size_t> WebSocketClients::flush(WebSocketClient& client) {
  const std::lock_guard lock(mutex_);
  flushLocked(client, std::chrono::steady_clock::now());
  forgetDroppedLocked();
  return client.dropped ? std::nullopt : std::optional(client.outbox.bytes());
}

bool WebSocketClients::isDropped(const WebSocketClient& client) const {
  const std::lock_guard lock(mutex_);
  return client.dropped;
}

bool WebSocketClients::empty() const {
  const std::lock_guard lock(mutex_);
  return clients_.empty();
}

void WebSocketClients::watchProcessors(WebSocketClient& client, bool enabled) {
  const std::lock_guard lock(mutex_);
  client.watchesProcessors = enabled;
}

bool WebSocketClients::anyWatchesProcessors() const {
  const std::lock_guard lock(mutex_);
  return std::any_of(clients_.begin(), clients_.end(),
                     [](const SharedClient& client) { return client->watchesProcessors; });
}

bool WebSocketClients::sendLocked(WebSocketClient& client, SharedFrame frame, Time now) {
  if (!client.dropped && !client.outbox.push(std::move(frame), now, senderOf(client))) {
    dropLocked(client);
  }
  return !client.dropped;
}

void WebSocketClients::flushLocked(WebSocketClient& client, Time now) {
  if (!client.dropped && !client.outbox.empty() && !client.outbox.flush(now, senderOf(client))) {
    dropLocked(client);
  }
}

void WebSocketClients::dropLocked(WebSocketClient& client) {
  client.dropped = true;
  client.socket.shut();
}

void WebSocketClients::forgetDroppedLocked() {
  std::erase_if(clients_, [](const SharedClient& client) { return client->dropped; });
}

}  // namespace tarnwick::remote
