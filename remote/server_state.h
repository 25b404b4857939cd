// State that the server's threads share. Three locks, never held together: the sockets', the client list's own, and the
// sessions'.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/socket.h"
#include "remote/router.h"
#include "remote/server.h"
#include "remote/websocket_clients.h"

namespace tarnwick::remote {

// One WebSocket connection's thread.
struct Session {
  std::thread thread;
  std::shared_ptr<std::atomic<bool>> finished;  // set by the thread as its last act
};

struct ServerState {
  ServerState(ServerContext serverContext, RemoteControlCallbacks serverCallbacks);

  const ServerContext context;
  const RemoteControlCallbacks callbacks;
  const RouterContext router;

  std::atomic<bool> running{false};  // every loop looks at it at least every 250 ms

  std::atomic<int32_t> networkLevel{0};  // thread priority granted to the thread that asked last

  std::mutex socketMutex;
  platform::Socket tcpSocket;  // replaced while no thread runs; guarded otherwise only against `shut`
  platform::Socket udpSocket;  // the beacon sends under the lock, and not once `running` is false

  WebSocketClients clients;

  std::mutex sessionMutex;
  std::vector<Session> sessions;

  std::thread acceptThread;
  std::thread beaconThread;
  std::thread pushThread;
};

// The processors' total usage and name, and each one's usage while a client watches them.
void AddUsage(ServerState& server, RemoteStatusSnapshot& status);

// One thread's processors and priority; belongs to the thread.
class ThreadScheduling {
 public:
  explicit ThreadScheduling(ServerState& server) : server_(server) {}
  // Applies what has changed since the last call.
  void apply();

 private:
  ServerState& server_;
  system::ThreadSteering steering_;
  std::optional<int32_t> priority_;
};

}  // namespace tarnwick::remote
