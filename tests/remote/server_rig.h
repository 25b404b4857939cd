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

namespace tarnwick::remote {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

inline constexpr uint32_t kLoopback = 0x7F000001;
inline constexpr milliseconds kPatience{5000};

uint16_t FreePort();

// What the callbacks tell; changed by the test while the server asks.
struct Application {
  std::mutex mutex;
  RemoteStatusSnapshot status;
  RemoteRecordSnapshot record;
  RemotePlaybackSnapshot playback;

  RemoteControlCallbacks callbacks();
};

struct ServerRig {
  ServerRig();

  Application application;
  system::CpuSteering steering;
  std::atomic<int32_t> networkPriority{2};
  system::CpuUsageSampler cpuUsage{fakeTimes()};
  std::vector<std::wstring> lines;  // of the log
  uint16_t port = FreePort();
  RemoteControlServer server{context(port), application.callbacks()};

  ServerContext context(uint16_t onPort);
  // One busy processor of two, told anew at every reading, as if each came a second after the one before.
  static system::CpuTimeSource fakeTimes();
  // Under the application's lock.
  template <typename Change>
  void change(Change apply) {
    const std::lock_guard lock(application.mutex);
    apply(application);
  }
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

}  // namespace tarnwick::remote
