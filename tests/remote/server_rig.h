// A server on a free port with a small application behind it, and clients that speak in bytes.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/socket.h"
#include "remote/server.h"
#include "support/eventually.h"

namespace tarnwick::remote {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

inline constexpr uint32_t kLoopback = 0x7F000001;
// For what happens at once on a machine that has nothing else to do.
inline constexpr milliseconds kPatience{60'000};
// No client is given up for being slow, however busy the machine is.
inline constexpr ClientLimits kPatient{
    .pause = 10 * kPatience, .exchange = 10 * kPatience, .body = 10 * kPatience, .frame = 10 * kPatience};

inline bool Soon(const std::function<bool()>& holds) {
  return tests::Eventually(holds, kPatience);
}

// Two ends of a connection. The server's end has a small buffer and does not wait, as those of the server.
struct Connection {
  Connection();
  platform::Socket client = platform::Socket::Tcp();
  platform::Socket server;
};

// The state behind the callbacks; changed by the test while the server asks.
struct Application {
  std::mutex mutex;
  RemoteStatusSnapshot status;
  RemoteRecordSnapshot record;
  RemotePlaybackSnapshot playback;
  bool tellsStatus = true;
  int asked = 0;  // for the status

  RemoteControlCallbacks callbacks();
};

struct ServerRig {
  explicit ServerRig(ClientLimits limits = kPatient);

  Application application;
  system::CpuSteering steering;
  std::atomic<int32_t> networkPriority{2};
  system::CpuUsageSampler cpuUsage{fakeTimes()};
  std::vector<std::wstring> lines;  // of the log
  uint16_t port;
  ServerContext context;
  RemoteControlServer server{context, application.callbacks()};

  // One busy processor of two, told anew at every reading, as if each came a second after the one before.
  static system::CpuTimeSource fakeTimes();
  // Under the application's lock.
  template <typename Change>
  auto change(Change apply) {
    const std::lock_guard lock(application.mutex);
    return apply(application);
  }
  // Waits until the push thread has seen the state as it is now. While a client is connected and nobody else asks.
  void awaitPush();
};

// A connection of a client; every step fails after kPatience.
class Client {
 public:
  explicit Client(uint16_t port);

  bool connected() const { return connected_; }
  bool send(std::string_view bytes);
  // Until the server closes, or `most` bytes.
  std::string receiveAll(size_t most = SIZE_MAX);
  // True when the server has closed, after all that it sent.
  bool ended();
  void close() { socket_ = platform::Socket(); }

 protected:
  bool fill(size_t bytes);

  platform::Socket socket_ = platform::Socket::Tcp();
  std::string received_;
  bool connected_ = false;
};

// The whole answer to one request.
std::string Exchange(uint16_t port, std::string_view request);

class WebSocketTester : public Client {
 public:
  // Sends the request for the channel with `more` behind it and reads the answer's head.
  explicit WebSocketTester(uint16_t port, std::string_view more = {});

  const std::string& answer() const { return answer_; }
  // The next frame's first byte and payload; nothing when the connection ends or nothing comes.
  std::optional<std::pair<uint8_t, std::string>> frame();
  // The next text that has `part` in it, and those passed over.
  std::string textWith(std::string_view part);
  std::vector<std::string> skipped;

 private:
  std::string answer_;
};

// A client's frame: masked, final.
std::string MaskedFrame(uint8_t opcode, std::string_view payload);
// A request envelope with these members in such a frame.
std::string RequestFrame(std::string_view members);

}  // namespace tarnwick::remote
