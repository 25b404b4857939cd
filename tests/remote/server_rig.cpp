#include "remote/server_rig.h"

namespace tarnwick::remote {

namespace {

uint16_t freePort() {
  platform::StartSockets();
  platform::Socket socket = platform::Socket::Tcp();
  socket.bind(kLoopback, 0);
  return socket.localPort();
}

}  // namespace

Connection::Connection() {
  platform::StartSockets();
  platform::Socket listening = platform::Socket::Tcp();
  const bool made =
      listening.bind(kLoopback, 0) && listening.listen() && client.connect(kLoopback, listening.localPort());
  server = listening.accept();
  EXPECT_TRUE(made && server.setBlocking(false) && server.setSendBuffer(65536));
}

RemoteControlCallbacks Application::callbacks() {
  RemoteControlCallbacks given;
  const auto teller = [this](auto Application::*section) {
    return [this, section](auto& out) {
      const std::lock_guard lock(mutex);
      out = this->*section;
      return true;
    };
  };
  given.status = [this](RemoteStatusSnapshot& out) {
    const std::lock_guard lock(mutex);
    ++asked;
    out = status;
    return tellsStatus;
  };
  given.record = teller(&Application::record);
  given.playback = teller(&Application::playback);
  given.stopHost = [] { return true; };
  return given;
}

ServerRig::ServerRig(ClientLimits limits)
    : port(freePort()),
      context{port,
              steering,
              networkPriority,
              cpuUsage,
              [this](const std::wstring& line) { lines.push_back(line); },
              [] {
                return std::vector<std::wstring>{L"stage-pc", L"stage-pc.lan"};
              },
              limits} {
  // Past the readings that only prime, so that the usage stays the same.
  cpuUsage.usage();
  cpuUsage.usage();
}

void ServerRig::awaitPush() {
  const auto asked = [](Application& a) { return a.asked; };
  const int before = change(asked);
  // The first may have been on its way with the state before.
  EXPECT_TRUE(Soon([&] { return change(asked) >= before + 2; }));
}

system::CpuTimeSource ServerRig::fakeTimes() {
  const auto readings = std::make_shared<int64_t>(0);
  const auto times = [](int64_t reading) {
    const auto all = static_cast<uint64_t>(reading) * 1000;
    return platform::CpuTimes{all / 2, all, 0};
  };
  return {[=](platform::CpuTimes& total) {
            total = times(*readings);
            return true;
          },
          [=](std::vector<platform::CpuTimes>& processors) {
            processors.assign(2, times(*readings));
            return true;
          },
          [=] { return std::chrono::seconds(++*readings); }};
}

Client::Client(uint16_t port) {
  socket_.setReceiveTimeout(kPatience);
  socket_.setSendTimeout(kPatience);
  connected_ = socket_.connect(kLoopback, port);
}

bool Client::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const int64_t sent = socket_.send(bytes.data(), bytes.size());
    if (sent <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

bool Client::fill(size_t bytes) {
  char scratch[16384];
  while (received_.size() < bytes) {
    const int64_t count = socket_.receive(scratch, sizeof scratch);
    if (count <= 0) {
      return false;
    }
    received_.append(scratch, static_cast<size_t>(count));
  }
  return true;
}

std::string Client::receiveAll(size_t most) {
  fill(most);
  return std::exchange(received_, {});
}

bool Client::ended() {
  const auto start = steady_clock::now();
  receiveAll();
  return steady_clock::now() - start < kPatience;
}

std::string Exchange(uint16_t port, std::string_view request) {
  Client client(port);
  client.send(request);
  return client.receiveAll();
}

WebSocketTester::WebSocketTester(uint16_t port, std::string_view more) : Client(port) {
  send(
      "GET /ws HTTP/1.1\r\nConnection: keep-alive, Upgrade\r\nUpgrade: WebSocket\r\n"
      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n" +
      std::string(more));
  size_t end = std::string::npos;
  while ((end = received_.find("\r\n\r\n")) == std::string::npos && fill(received_.size() + 1)) {
  }
  answer_ = received_.substr(0, end == std::string::npos ? end : end + 4);
  received_.erase(0, answer_.size());
}

std::optional<std::pair<uint8_t, std::string>> WebSocketTester::frame() {
  if (!fill(2)) {
    return std::nullopt;
  }
  const auto byte = [this](size_t at) { return static_cast<uint8_t>(received_[at]); };
  const size_t head = byte(1) == 126 ? 4 : byte(1) == 127 ? 10 : 2;
  if (!fill(head)) {
    return std::nullopt;
  }
  size_t length = head == 2 ? byte(1) : 0;
  for (size_t k = 2; k < head; ++k) {
    length = length << 8 | byte(k);
  }
  if (!fill(head + length)) {
    return std::nullopt;
  }
  std::pair<uint8_t, std::string> whole{byte(0), received_.substr(head, length)};
  received_.erase(0, head + length);
  return whole;
}

std::string WebSocketTester::textWith(std::string_view part) {
  skipped.clear();
  const auto end = steady_clock::now() + kPatience;
  for (auto next = frame(); next && steady_clock::now() < end; next = frame()) {
    if (next->first == 0x81 && next->second.find(part) != std::string::npos) {
      return next->second;
    }
    skipped.push_back(next->second);
  }
  return "nothing came";
}

std::string MaskedFrame(uint8_t opcode, std::string_view payload) {
  std::string out{static_cast<char>(0x80 | opcode)};
  out.push_back(static_cast<char>(0xFF));  // the longest form, whatever the length
  for (int k = 7; k >= 0; --k) {
    out.push_back(static_cast<char>(payload.size() >> (8 * k) & 0xFF));
  }
  out += "\x11\x22\x33\x44";
  for (size_t k = 0; k < payload.size(); ++k) {
    out.push_back(static_cast<char>(payload[k] ^ static_cast<char>(0x11 * (k % 4 + 1))));
  }
  return out;
}

std::string RequestFrame(std::string_view members) {
  return MaskedFrame(1, "{\"type\":\"request\"," + std::string(members) + "}");
}

}  // namespace tarnwick::remote
