#include <gmock/gmock.h>

#include <thread>

#include "remote/documents.h"
#include "remote/http_connection.h"
#include "remote/http_origin.h"
#include "remote/pages.h"
#include "remote/server_rig.h"

namespace tarnwick::remote {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string json(std::string_view status, std::string_view body) {
  return "HTTP/1.1 " + std::string(status) +
         "\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) +
         "\r\nConnection: close\r\nCache-Control: no-store\r\n\r\n" + std::string(body);
}

TEST(Server, StartsAndStopsOnce) {
  ServerRig rig;
  const std::wstring port = std::to_wstring(rig.port);
  const std::wstring listening = L"Remote control server listening on TCP/UDP " + port + L".";
  EXPECT_TRUE(rig.server.start());
  EXPECT_TRUE(rig.server.start());
  EXPECT_TRUE(rig.server.running());

  RemoteControlServer second(rig.context(rig.port), {});
  EXPECT_FALSE(second.start());
  EXPECT_FALSE(second.running());
  rig.server.stop();
  rig.server.stop();
  EXPECT_FALSE(rig.server.running());
  EXPECT_TRUE(rig.server.start());
  EXPECT_THAT(Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
  rig.server.stop();
  const std::wstring stopped = L"Remote control server stopped.";
  EXPECT_THAT(rig.lines, ElementsAre(listening, L"Remote control server failed: TCP bind on " + port + L".", stopped,
                                     stopped, listening, stopped));
  EXPECT_FALSE(Client(rig.port).connected());
}

TEST(Server, Routes) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  const std::string port = std::to_string(rig.port);
  const std::string upgrade = "Connection: keep-alive, Upgrade\r\nUpgrade: WebSocket\r\n";
  const auto refusal = [](std::string_view host) {
    const auto names = [] { return std::vector<std::string>{"stage-pc", "stage-pc.lan"}; };
    return json("403 Forbidden", "{\"error\":" + JsonStringUtf8(OriginRefusal(host, "http://a.example", names)) + "}");
  };
  const std::string byName = refusal("a.example");
  const std::string byOrigin = refusal("localhost");
  const std::string invalid = json("400 Bad Request", "{\"error\":\"invalid request\"}");
  const std::string notFound = json("404 Not Found", "{\"error\":\"not found\"}");
  const std::string accepted = json("202 Accepted", "{\"accepted\":true,\"action\":\"stop\"}");
  const std::string healthy = json("200 OK", "{\"status\":\"ok\",\"service\":\"Tarnwick\",\"port\":" + port + "}");
  const struct {
    std::string line, fields, answer;
  } cases[] = {
      {"GET /healthz x", "", healthy},
      {"GET /", "", invalid},
      {"GET  / HTTP/1.1", "", invalid},
      {" GET / HTTP/1.1", "", invalid},
      {"get / HTTP/1.1", "", json("405 Method Not Allowed", "{\"error\":\"method not allowed\"}")},
      {"POST /remote HTTP/1.1", "", notFound},
      {"POST /ws HTTP/1.1", upgrade, notFound},
      {"GET /ws HTTP/1.1", "Connection: close\r\nUpgrade: websocket\r\n",
       json("400 Bad Request", "{\"error\":\"websocket upgrade required\"}")},
      {"GET /ws?a=b HTTP/1.1", upgrade, json("400 Bad Request", "{\"error\":\"invalid websocket handshake\"}")},
      {"GET /ws HTTP/1.1", upgrade + "Host: localhost\r\nOrigin: http://a.example\r\n", byOrigin},
      {"GET /ws HTTP/1.1", "Host: a.example\r\nOrigin: http://a.example\r\n", byName},
      {"GET /healthz HTTP/1.1", "Host: a.example\r\nOrigin: null\r\n", healthy},
      {"POST /api/host/stop HTTP/1.1", "", accepted},
      {"POST /api/host/stop HTTP/1.1", "Host: 127.0.0.1:" + port + "\r\nOrigin: http://127.0.0.1:" + port + "\r\n",
       accepted},
      {"POST /api/host/stop HTTP/1.1", "Host: 127.0.0.1:" + port + "\r\nOrigin: http://a.example\r\n", byOrigin},
      {"POST /api/host/stop HTTP/1.1", "Host: Stage-PC.lan.\r\nOrigin: http://stage-pc.lan.\r\n", accepted},
      {"POST /api/host/stop HTTP/1.1", "Host: a.example\r\nOrigin: http://a.example\r\n", byName},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Exchange(rig.port, c.line + "\r\n" + c.fields + "\r\n"), c.answer) << c.line << "\n" << c.fields;
  }
  EXPECT_THAT(Exchange(rig.port, "GET /remote?x=1 HTTP/1.1\r\n\r\n"),
              testing::AllOf(StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"),
                             EndsWith("\r\n\r\n" + std::string(PageFor("/remote")))));
}

TEST(Server, ReadsAnyHeadThatComesInTime) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  {
    Client slow(rig.port);
    for (const char byte : std::string("GET /healthz HTTP/1.1\r\n\r\n")) {
      EXPECT_TRUE(slow.send({&byte, 1}));
      std::this_thread::sleep_for(milliseconds(2));
    }
    EXPECT_THAT(slow.receiveAll(), HasSubstr("\"status\":\"ok\""));
  }
  // A head of the greatest length is taken as it stands, whatever comes behind it.
  std::string endless = "GET /healthz HTTP/1.1\r\nX: ";
  endless.resize(8192, 'x');
  EXPECT_THAT(Exchange(rig.port, endless), StartsWith("HTTP/1.1 200 OK"));
  // But it may not act: a foreign page could have filled it until its origin was cut off.
  EXPECT_THAT(
      Exchange(rig.port, "POST /api/host/stop?" + std::string(8160, 'x') + " HTTP/1.1\r\nOrigin: http://a\r\n\r\n"),
      StartsWith("HTTP/1.1 403 Forbidden"));
  // The answer arrives although nobody reads the body.
  EXPECT_THAT(
      Exchange(rig.port, "POST /api/host/stop HTTP/1.1\r\nContent-Length: 300000\r\n\r\n" + std::string(300000, 'b')),
      EndsWith("{\"accepted\":true,\"action\":\"stop\"}"));
  // Neither one that leaves early nor one that says nothing gets an answer or stops others for long.
  Client(rig.port).send("GET / HT");
  Client silent(rig.port);
  const auto start = steady_clock::now();
  EXPECT_THAT(Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
  EXPECT_THAT(steady_clock::now() - start, testing::AllOf(testing::Gt(milliseconds(1900)), testing::Lt(kPatience)));
  EXPECT_EQ(silent.receiveAll(), "");
}

// Nobody is connected, and still the first who asks is told how busy the processors are now.
TEST(Server, WatchesTheProcessorsByItself) {
  ServerRig rig;
  std::atomic<int> readings{0};
  system::CpuTimeSource source = ServerRig::fakeTimes();
  source.total = [&readings, total = source.total](platform::CpuTimes& times) {
    ++readings;
    return total(times);
  };
  system::CpuUsageSampler usage(source);
  RemoteControlServer server({rig.port, rig.steering, rig.networkPriority, usage, {}}, rig.application.callbacks());
  ASSERT_TRUE(server.start());
  const auto end = steady_clock::now() + kPatience;
  while (readings < 3 && steady_clock::now() < end) {
    std::this_thread::sleep_for(milliseconds(20));
  }
  EXPECT_THAT(Exchange(rig.port, "GET /api/status HTTP/1.1\r\n\r\n"), HasSubstr("\"cpuUsagePercent\":50.0,"));
}

// Longer than any head may take.
TEST(Server, ALargeAnswerReachesAClientThatReadsSlowly) {
  platform::StartSockets();
  platform::Socket listening = platform::Socket::Tcp();
  platform::Socket reader = platform::Socket::Tcp();
  ASSERT_TRUE(listening.bind(kLoopback, 0) && listening.listen() && reader.connect(kLoopback, listening.localPort()));
  platform::Socket sender = listening.accept();
  ASSERT_TRUE(sender.setBlocking(false) && sender.setSendBuffer(65536));
  constexpr milliseconds kGrace{500};
  const std::string answer(8'000'000, 'a');
  const std::atomic<bool> running{true};
  std::thread sends([&] {
    SendAnswer(sender, answer, "", running, kGrace);
    sender = platform::Socket();
  });
  std::string part(40'000, '\0');
  size_t received = 0;
  const auto slowUntil = steady_clock::now() + 3 * kGrace;
  for (int64_t count = 1; count > 0;) {
    count = reader.receive(part.data(), part.size());
    received += count > 0 ? static_cast<size_t>(count) : 0;
    if (steady_clock::now() < slowUntil) {
      std::this_thread::sleep_for(milliseconds(100));
    }
  }
  sends.join();
  EXPECT_EQ(received, answer.size());
  platform::EndSockets();
}

TEST(Server, LeavesAClientThatDoesNotTakeItsAnswer) {
  ServerRig rig;
  rig.application.status.device.assign(12'000'000, L'd');
  ASSERT_TRUE(rig.server.start());
  Client stalled(rig.port);
  ASSERT_TRUE(stalled.send("GET /api/status HTTP/1.1\r\n\r\n"));
  EXPECT_THAT(Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
  EXPECT_LT(stalled.receiveAll().size(), 12'000'000u);
}

}  // namespace
}  // namespace tarnwick::remote
