// The remote control server: HTTP/1.1 with one request a connection, WebSocket clients with a thread each, pushed state
// and a discovery beacon, all on one port.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/network.h"
#include "remote/callbacks.h"
#include "remote/client_limits.h"
#include "system/cpu_steering.h"
#include "system/cpu_usage.h"

namespace tarnwick::remote {

inline constexpr uint16_t kRemotePort = 20831;
inline constexpr size_t kMostWebSocketClients = 64;

// Everything here outlives the server.
struct ServerContext {
  uint16_t port = kRemotePort;  // TCP and UDP
  const system::CpuSteering& steering;
  const std::atomic<int32_t>& networkPriority;  // row of the priority table
  system::CpuUsageSampler& cpuUsage;
  std::function<void(const std::wstring&)> log;  // may be empty; called on the thread of start, stop and broadcast
  // The machine's own names, under which browsers may reach it. Accept thread, when a browser uses a name.
  std::function<std::vector<std::wstring>()> machineNames = platform::MachineNames;
  ClientLimits limits{};
};

struct ServerState;

// Started, stopped and destroyed by one thread at a time.
class RemoteControlServer {
 public:
  RemoteControlServer(ServerContext context, RemoteControlCallbacks callbacks);
  RemoteControlServer(const RemoteControlServer&) = delete;
  RemoteControlServer& operator=(const RemoteControlServer&) = delete;
  ~RemoteControlServer();  // stops

  // True when the server runs, also when it ran already. Says what failed in the log. A thread that cannot be made
  // throws std::system_error.
  bool start();
  // Returns when every thread has ended; a callback that waits for the calling thread must therefore come back by
  // itself. Does nothing when the server does not run.
  void stop();
  bool running() const noexcept;

  // One text message to every WebSocket client. Any thread; never waits for a client.
  void broadcastText(std::string_view text);

 private:
  std::unique_ptr<ServerState> state_;
};

}  // namespace tarnwick::remote
