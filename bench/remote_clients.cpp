// Clients for measurements of the remote control server.
//   remote_clients listen PORT CLIENTS SECONDS   WebSocket clients that read and count; prints messages and bytes
//   remote_clients ask PORT REQUESTS [PATH]      one request after another, each on a connection of its own; prints the
//                                                number a second
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/socket.h"

namespace {

using std::chrono::steady_clock;
using tarnwick::platform::Socket;

constexpr uint32_t kLoopback = 0x7f000001;

bool sendText(Socket& socket, const std::string& text) {
  return socket.send(text.data(), text.size()) == static_cast<int64_t>(text.size());
}

bool open(Socket& socket, uint16_t port) {
  socket = Socket::Tcp();
  return socket.valid() && socket.connect(kLoopback, port);
}

struct Heard {
  uint64_t bytes = 0;
  uint64_t reads = 0;
};

int listen(uint16_t port, int clients, double seconds) {
  std::vector<Socket> sockets(static_cast<size_t>(clients));
  for (Socket& socket : sockets) {
    if (!open(socket, port) || !sendText(socket,
                                         "GET /ws HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
                                         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n")) {
      std::fprintf(stderr, "no connection\n");
      return 1;
    }
  }
  std::vector<Heard> heard(sockets.size());
  const auto end = steady_clock::now() + std::chrono::duration<double>(seconds);
  std::vector<std::thread> readers;
  for (size_t k = 0; k < sockets.size(); ++k) {
    readers.emplace_back([&, k] {
      std::vector<char> buffer(1 << 17);
      while (steady_clock::now() < end) {
        if (!sockets[k].waitReadable(std::chrono::milliseconds(200))) {
          continue;
        }
        const int64_t count = sockets[k].receive(buffer.data(), buffer.size());
        if (count <= 0) {
          std::fprintf(stderr, "client %zu was dropped\n", k);
          return;
        }
        heard[k].bytes += static_cast<uint64_t>(count);
        ++heard[k].reads;
      }
    });
  }
  for (std::thread& reader : readers) {
    reader.join();
  }
  Heard all;
  for (const Heard& one : heard) {
    all.bytes += one.bytes;
    all.reads += one.reads;
  }
  std::printf("%d clients: %.1f reads a second each, %.0f kB a second each\n", clients,
              static_cast<double>(all.reads) / seconds / clients,
              static_cast<double>(all.bytes) / seconds / clients / 1000.0);
  return 0;
}

int ask(uint16_t port, int requests, const std::string& path) {
  const std::string request = "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
  const auto begin = steady_clock::now();
  for (int k = 0; k < requests; ++k) {
    Socket socket;
    char buffer[4096];
    std::string answer;
    int64_t count = -1;
    if (open(socket, port) && sendText(socket, request)) {
      while ((count = socket.receive(buffer, sizeof buffer)) > 0) {
        answer.append(buffer, static_cast<size_t>(count));
      }
    }
    if (count != 0 || answer.find(" 200 ") == std::string::npos) {
      std::fprintf(stderr, "request %d failed\n", k);
      return 1;
    }
  }
  const std::chrono::duration<double> taken = steady_clock::now() - begin;
  std::printf("%.0f\n", requests / taken.count());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view kind = argc > 1 ? argv[1] : "";
  tarnwick::platform::StartSockets();
  if (kind == "listen" && argc == 5) {
    return listen(static_cast<uint16_t>(std::atoi(argv[2])), std::atoi(argv[3]), std::atof(argv[4]));
  }
  if (kind == "ask" && (argc == 4 || argc == 5)) {
    return ask(static_cast<uint16_t>(std::atoi(argv[2])), std::atoi(argv[3]), argc == 5 ? argv[4] : "/healthz");
  }
  std::fprintf(stderr, "remote_clients listen PORT CLIENTS SECONDS | ask PORT REQUESTS [PATH]\n");
  return 2;
}
