#include "platform/socket.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <string_view>
#include <thread>

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
constexpr uint32_t kLoopback = 0x7F000001;

Socket listener(uint16_t port = 0) {
  Socket socket = Socket::Tcp();
  EXPECT_TRUE(socket.valid() && socket.bind(kLoopback, port) && socket.listen());
  EXPECT_NE(socket.localPort(), 0);
  return socket;
}

struct Connection {
  Socket listening = listener();
  Socket client = Socket::Tcp();
  Socket server;
  Connection() {
    EXPECT_FALSE(listening.waitReadable(-1ms));
    EXPECT_TRUE(client.connect(kLoopback, listening.localPort()));
    EXPECT_TRUE(listening.waitReadable(5s));
    server = listening.accept();
    EXPECT_TRUE(server.valid());
  }
};

// Sends until the peer's buffers are full or something fails.
int64_t sendUntilRefused(Socket& socket) {
  const std::string piece(65536, 'x');
  int64_t sent = 1;
  for (int k = 0; k < 2000 && sent > 0; ++k) {
    sent = socket.send(piece.data(), piece.size());
  }
  return sent;
}

TEST(Socket, CarriesBytesAndTheEnd) {
  Connection c;
  EXPECT_TRUE(c.client.setNoDelay() && c.server.setNoDelay());
  EXPECT_EQ(c.client.send("question", 8), 8);
  char buffer[64];
  ASSERT_TRUE(c.server.waitReadable(5s));
  EXPECT_EQ(c.server.receive(buffer, 3), 3);
  EXPECT_EQ(c.server.receive(buffer + 3, sizeof buffer - 3), 5);
  EXPECT_EQ(std::string_view(buffer, 8), "question");
  EXPECT_EQ(c.server.send("a", 1), 1);
  c.server = Socket();
  ASSERT_TRUE(c.client.waitReadable(5s));
  EXPECT_EQ(c.client.receive(buffer, sizeof buffer), 1);
  ASSERT_TRUE(c.client.waitReadable(5s));
  EXPECT_EQ(c.client.receive(buffer, sizeof buffer), 0);
  // A dead connection is a failure and no signal.
  EXPECT_EQ(sendUntilRefused(c.client), Socket::kFailed);
}

TEST(Socket, APortHasOneListenerAndIsFreeAtOnceAfterIt) {
  uint16_t port = 0;
  {
    Connection c;
    port = c.listening.localPort();
    Socket second = Socket::Tcp();
    EXPECT_FALSE(second.bind(kLoopback, port) && second.listen());
    c.server = Socket();  // the side that closes first keeps the port for a while
    char byte = 0;
    EXPECT_EQ(c.client.receive(&byte, 1), 0);
  }
  listener(port);
}

TEST(Socket, WaitsNotAtAllOrAsLongAsItWasTold) {
  Connection c;
  char byte = 0;
  EXPECT_TRUE(c.client.setBlocking(false));
  EXPECT_EQ(c.client.receive(&byte, 1), Socket::kWouldBlock);
  EXPECT_EQ(sendUntilRefused(c.client), Socket::kWouldBlock);
  EXPECT_TRUE(c.client.setBlocking(true) && c.client.setReceiveTimeout(200ms) && c.client.setSendTimeout(200ms));
  auto begin = Clock::now();
  EXPECT_EQ(c.client.receive(&byte, 1), Socket::kFailed);
  EXPECT_GE(Clock::now() - begin, 150ms);
  EXPECT_LT(Clock::now() - begin, 5s);
  begin = Clock::now();
  EXPECT_EQ(sendUntilRefused(c.client), Socket::kFailed);
  EXPECT_LT(Clock::now() - begin, 10s);
  begin = Clock::now();
  EXPECT_FALSE(c.client.waitReadable(100ms));
  EXPECT_GE(Clock::now() - begin, 95ms);
}

TEST(Socket, ASmallSendBufferKeepsLittleAndSaysWhenThereIsRoom) {
  Connection c;
  ASSERT_TRUE(c.client.setBlocking(false) && c.client.setSendBuffer(65536));
  EXPECT_TRUE(c.client.waitWritable(0ms));
  const std::string piece(16384, 'x');
  int64_t kept = 0;
  while (kept < 4'000'000) {
    const int64_t sent = c.client.send(piece.data(), piece.size());
    if (sent < 0) {
      break;
    }
    kept += sent;
  }
  EXPECT_GE(kept, 16384);
  EXPECT_LT(kept, 1'000'000) << "with what the other side has room for";
  EXPECT_FALSE(c.client.waitWritable(20ms));
  std::string taken(static_cast<size_t>(kept), '\0');
  while (kept > 0) {
    const int64_t count = c.server.receive(taken.data(), taken.size());
    ASSERT_GT(count, 0);
    kept -= count;
  }
  EXPECT_TRUE(c.client.waitWritable(5s));
}

TEST(Socket, ShutWakesWhoWaitsInReceive) {
  Connection c;
  std::promise<void> begins;
  auto result = std::async(std::launch::async, [&] {
    char byte = 0;
    begins.set_value();
    return c.server.receive(&byte, 1);
  });
  begins.get_future().wait();
  EXPECT_EQ(result.wait_for(100ms), std::future_status::timeout);
  c.server.shut();
  ASSERT_EQ(result.wait_for(10s), std::future_status::ready);
  EXPECT_LE(result.get(), 0);
  char byte = 0;
  EXPECT_LE(c.server.receive(&byte, 1), 0);
  EXPECT_LT(c.server.send("x", 1), 0);
  ASSERT_TRUE(c.client.waitReadable(5s));
  EXPECT_EQ(c.client.receive(&byte, 1), 0);
}

TEST(Socket, DatagramsReachABroadcastAddress) {
  constexpr uint32_t kBroadcast = 0x7FFFFFFF;
  Socket receiver = Socket::Udp();
  ASSERT_TRUE(receiver.bind(Socket::kAnyAddress, 0));
  Socket sender = Socket::Udp();
  EXPECT_FALSE(sender.sendTo(kBroadcast, receiver.localPort(), "early", 5));
  ASSERT_TRUE(sender.enableBroadcast());
  ASSERT_TRUE(sender.sendTo(kBroadcast, receiver.localPort(), "beacon", 6));
  ASSERT_TRUE(receiver.waitReadable(5s));
  char buffer[16];
  EXPECT_EQ(receiver.receive(buffer, sizeof buffer), 6);
  Socket other = Socket::Udp();
  EXPECT_FALSE(other.bind(Socket::kAnyAddress, receiver.localPort()));
}

TEST(Socket, WithoutASocketNothingWaits) {
  Socket none = listener();
  const Socket taken(std::move(none));
  EXPECT_TRUE(taken.valid());
  char byte = 0;
  EXPECT_TRUE(none.waitReadable(10s) && none.waitWritable(10s));
  EXPECT_EQ(none.receive(&byte, 1), Socket::kFailed);
  EXPECT_EQ(none.send(&byte, 1), Socket::kFailed);
  EXPECT_FALSE(none.valid() || none.accept().valid() || none.bind(0, 0) || none.listen() || none.connect(kLoopback, 1));
  none.shut();
  EXPECT_FALSE(Socket::Tcp().connect(kLoopback, 1));
}

}  // namespace
}  // namespace tarnwick::platform
