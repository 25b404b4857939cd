#include "remote/server_threads.h"

#include <chrono>
#include <exception>
#include <thread>

#include "platform/network.h"
#include "platform/threads.h"
#include "remote/beacon.h"
#include "remote/push.h"
#include "remote/server_http.h"
#include "remote/server_sessions.h"

namespace tarnwick::remote {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kAcceptSlice{100};
constexpr milliseconds kAcceptRetry{100};
constexpr milliseconds kPushStep{20};
constexpr milliseconds kBeaconStep{100};
constexpr int kBeaconSteps = 20;  // between two beacons

void sleepUntil(Clock::time_point end) {
  while (Clock::now() < end) {
    std::this_thread::sleep_until(end);
  }
}

// Short of memory, a cycle or a connection is given up, and the thread goes on.
template <typename Work>
void guarded(Work work) {
  try {
    work();
  } catch (const std::exception&) {
  }
}

void sendBeacons(ServerState& server, const std::wstring& serverName) {
  for (const BeaconTarget& target : BeaconTargets(platform::NetworkAdapters())) {
    const std::string text = ServiceDescriptor(serverName, platform::Ipv4Text(target.address), server.context.port);
    const std::lock_guard lock(server.socketMutex);
    if (!server.running) {
      return;
    }
    server.udpSocket.sendTo(target.broadcast, server.context.port, text.data(), text.size());
  }
}

}  // namespace

void AcceptLoop(ServerState& server) {
  platform::SetThreadName("twk-accept");
  ThreadScheduling scheduling(server);
  while (server.running) {
    scheduling.apply();
    ReapSessions(server);
    if (!server.tcpSocket.waitReadable(kAcceptSlice)) {
      continue;
    }
    platform::Socket socket = server.tcpSocket.accept();
    if (socket.valid()) {
      guarded([&] { HandleConnection(server, std::move(socket)); });
    } else if (server.running) {
      sleepUntil(Clock::now() + kAcceptRetry);
    }
  }
}

void BeaconLoop(ServerState& server) {
  platform::SetThreadName("twk-beacon");
  ThreadScheduling scheduling(server);
  std::wstring serverName = platform::MachineName();
  if (serverName.empty()) {
    serverName = L"Tarnwick";
  }
  while (server.running) {
    scheduling.apply();
    guarded([&] { sendBeacons(server, serverName); });
    for (int step = 0; step < kBeaconSteps && server.running; ++step) {
      sleepUntil(Clock::now() + kBeaconStep);
    }
  }
}

void PushLoop(ServerState& server) {
  platform::SetThreadName("twk-push");
  ThreadScheduling scheduling(server);
  Clock::time_point next = Clock::now();
  Pusher pusher(server.clients, server.callbacks, server.router.addUsage, next);
  while (server.running) {
    scheduling.apply();
    guarded([&] {
      // Also while nobody is connected, so that whoever asks next is told of the last second and not of the last hour.
      server.context.cpuUsage.usage();
      pusher.cycle(Clock::now());
    });
    // A cycle that was late is not made up for.
    next = std::max(next + Pusher::kCycle, Clock::now());
    do {
      sleepUntil(std::min(Clock::now() + kPushStep, next));
      guarded([&] { server.clients.flush(); });
    } while (server.running && Clock::now() < next);
  }
}

}  // namespace tarnwick::remote
