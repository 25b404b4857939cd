// Start and stop.
#include "remote/server.h"

#include <algorithm>

#include "platform/threads.h"
#include "remote/server_threads.h"
#include "remote/websocket_frames.h"
#include "system/priority.h"

namespace tarnwick::remote {
namespace {

void log(const ServerState& server, const std::wstring& line) {
  if (server.context.log) {
    server.context.log(L"Remote control server " + line);
  }
}

// The failed step; empty when both sockets are open.
std::wstring openSockets(ServerState& server) {
  const std::lock_guard lock(server.socketMutex);
  const std::wstring port = std::to_wstring(server.context.port);
  server.tcpSocket = platform::Socket::Tcp();
  if (!server.tcpSocket.valid()) {
    return L"could not create TCP socket.";
  }
  if (!server.tcpSocket.bind(platform::Socket::kAnyAddress, server.context.port)) {
    return L"TCP bind on " + port + L".";
  }
  // A connection may vanish between the look at the socket and the accept, which must then not wait for the next one.
  if (!server.tcpSocket.listen() || !server.tcpSocket.setBlocking(false)) {
    return L"TCP listen on " + port + L".";
  }
  server.udpSocket = platform::Socket::Udp();
  if (!server.udpSocket.valid()) {
    return L"could not create UDP socket.";
  }
  if (!server.udpSocket.enableBroadcast()) {
    return L"could not enable UDP broadcast.";
  }
  return {};
}

void join(std::thread& thread) {
  if (thread.joinable()) {
    thread.join();
  }
  thread = std::thread();
}

RemotePriorityGrant networkGrant(const ServerState& server) {
  const system::Priority& asked = system::PriorityAt(server.context.networkPriority);
  const int32_t level = server.networkLevel;
  const auto* granted = std::find_if(system::kPriorities.begin(), system::kPriorities.end(),
                                     [level](const system::Priority& row) { return row.threadPriority == level; });
  const bool known = granted != system::kPriorities.end();
  return {L"Network and pages", asked.name, known ? granted->name : L"level " + std::to_wstring(level),
          level == asked.threadPriority};
}

}  // namespace

ServerState::ServerState(ServerContext serverContext, RemoteControlCallbacks serverCallbacks)
    : context(std::move(serverContext)),
      callbacks(std::move(serverCallbacks)),
      router{callbacks, context.port, [this](RemoteStatusSnapshot& status) { AddUsage(*this, status); },
             [this](const std::string& text) { clients.broadcast(TextFrame(text)); },
             [this](RemoteGrants& grants) { grants.priorities.push_back(networkGrant(*this)); }} {}

void AddUsage(ServerState& server, RemoteStatusSnapshot& status) {
  system::CpuUsage usage = server.context.cpuUsage.usage();
  status.cpuUsagePercent = usage.total;
  status.cpuDisplayName = server.context.cpuUsage.displayName();
  status.cpuCoreUsagePercents.clear();
  if (server.clients.anyWatchesProcessors()) {
    status.cpuCoreUsagePercents = std::move(usage.processors);
  }
}

void ThreadScheduling::apply() {
  system::ApplyIfChanged(server_.context.steering, system::SteeringGroup::networkUi, steering_);
  const int32_t priority = server_.context.networkPriority.load(std::memory_order_relaxed);
  if (priority != priority_) {
    priority_ = priority;
    server_.networkLevel = platform::SetThreadPriorityLevel(system::PriorityAt(priority).threadPriority);
  }
}

RemoteControlServer::RemoteControlServer(ServerContext context, RemoteControlCallbacks callbacks)
    : state_(std::make_unique<ServerState>(std::move(context), std::move(callbacks))) {}

RemoteControlServer::~RemoteControlServer() {
  stop();
}

bool RemoteControlServer::running() const noexcept {
  return state_->running;
}

bool RemoteControlServer::start() {
  ServerState& server = *state_;
  if (server.running.exchange(true)) {
    return true;
  }
  if (const int32_t error = platform::StartSockets(); error != 0) {
    server.running = false;
    log(server, L"failed: WSAStartup error " + std::to_wstring(error));
    return false;
  }
  if (const std::wstring failure = openSockets(server); !failure.empty()) {
    log(server, L"failed: " + failure);
    stop();
    return false;
  }
  server.acceptThread = std::thread([&server] { AcceptLoop(server); });
  server.beaconThread = std::thread([&server] { BeaconLoop(server); });
  server.pushThread = std::thread([&server] { PushLoop(server); });
  log(server, L"listening on TCP/UDP " + std::to_wstring(server.context.port) + L".");
  return true;
}

void RemoteControlServer::stop() {
  ServerState& server = *state_;
  const bool wasRunning = server.running.exchange(false);
  {
    const std::lock_guard lock(server.socketMutex);
    server.tcpSocket.shut();
    server.udpSocket.shut();
  }
  join(server.acceptThread);
  join(server.beaconThread);
  join(server.pushThread);
  {
    const std::lock_guard lock(server.socketMutex);
    server.tcpSocket = platform::Socket();
    server.udpSocket = platform::Socket();
  }
  server.clients.dropAll();
  {
    const std::lock_guard lock(server.sessionMutex);
    for (Session& session : server.sessions) {
      session.thread.join();
    }
    server.sessions.clear();
  }
  if (wasRunning) {
    platform::EndSockets();
    log(server, L"stopped.");
  }
}

void RemoteControlServer::broadcastText(std::string_view text) {
  state_->clients.broadcast(TextFrame(text));
}

}  // namespace tarnwick::remote
