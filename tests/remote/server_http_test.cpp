#include <gmock/gmock.h>

#include <thread>

#include "remote/documents.h"
#include "remote/http_connection.h"
#include "remote/http_origin.h"
#include "remote/pages.h"
#include "remote/server_rig.h"

namespace tarnwick::remote {
namespace {

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

  RemoteControlServer second(rig.context, {});
  EXPECT_FALSE(second.start());
  EXPECT_FALSE(second.running());
  rig.server.stop();
  rig.server.stop();
  EXPECT_FALSE(rig.server.running());
  EXPECT_TRUE(rig.server.start());
  EXPECT_THAT(Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 OK"));
  rig.server.stop();
  const std::wstring stopped = L"Remote control server stopped.";
  EXPECT_THAT(rig.lines, testing::ElementsAre(listening, L"Remote control server failed: TCP bind on " + port + L".",
                                              stopped, stopped, listening, stopped));
  EXPECT_FALSE(Client(rig.port).connected());
}

TEST(Server, Routes) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  const std::string port = std::to_string(rig.port);
  const std::string upgrade = "Connection: keep-alive, Upgrade\r\nUpgrade: WebSocket\r\n";
  const auto refusal = [](std::string_view host) {
    const auto names = [] { return std::vector<std::string>{"stage-pc", "stage-pc.lan"}; };
    return json("403 Forbidden", ErrorDocument(OriginRefusal(host, "http://a.example", names)));
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
      {"get / HTTP/1.1", "", json("405 Method Not Allowed", "{\"error\":\"method not allowed\"}")},
      {"POST /ws HTTP/1.1", upgrade, notFound},
      {"GET /ws HTTP/1.1", "Connection: close\r\nUpgrade: websocket\r\n",
       json("400 Bad Request", "{\"error\":\"websocket upgrade required\"}")},
      {"GET /ws?a=b HTTP/1.1", upgrade, json("400 Bad Request", "{\"error\":\"invalid websocket handshake\"}")},
      {"GET /ws HTTP/1.1", upgrade + "Host: localhost\r\nOrigin: http://a.example\r\n", byOrigin},
      {"GET /ws HTTP/1.1", "Host: a.example\r\nOrigin: http://a.example\r\n", byName},
      {"GET /healthz HTTP/1.1", "Host: a.example\r\nOrigin: null\r\n", healthy},
      {"POST /api/host/stop HTTP/1.1", "", accepted},
      {"POST /api/host/stop HTTP/1.1", "Host: Stage-PC.lan.\r\nOrigin: http://stage-pc.lan.\r\n", accepted},
      {"POST /api/host/stop HTTP/1.1", "Host: a.example\r\nOrigin: http://a.example\r\n", byName},
      // The answer arrives although nobody reads the body.
      {"POST /api/host/stop HTTP/1.1", "Content-Length: 300000\r\n\r\n" + std::string(299998, 'b'), accepted},
      // A foreign page could fill the head until its origin is cut off.
      {"POST /api/host/stop?" + std::string(8160, 'x') + " HTTP/1.1", "Origin: http://a\r\n",
       json("403 Forbidden",
            "{\"error\":\"The request's head is longer than 8192 bytes, so it cannot be told which page it came "
            "from.\"}")},
      {"GET /healthz HTTP/1.1", "X: " + std::string(8192, 'x'), healthy},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Exchange(rig.port, c.line + "\r\n" + c.fields + "\r\n"), c.answer) << c.line.substr(0, 80) << "\n"
                                                                                 << c.fields.substr(0, 80);
  }
  EXPECT_THAT(Exchange(rig.port, "GET /remote?x=1 HTTP/1.1\r\n\r\n"),
              testing::AllOf(StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"),
                             EndsWith("\r\n\r\n" + std::string(PageFor("/remote")))));
}

TEST(Server, GoesOnAfterClientsThatSayNothingOrLeave) {
  ClientLimits limits = kPatient;
  limits.pause = milliseconds(200);
  ServerRig rig(limits);
  ASSERT_TRUE(rig.server.start());
  Client(rig.port).send("GET / HT");
  Client silent(rig.port);
  EXPECT_TRUE(Soon([&] { return Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n").starts_with("HTTP/1.1 200 OK"); }));
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
  EXPECT_TRUE(Soon([&] { return readings >= 3; }));
  EXPECT_THAT(Exchange(rig.port, "GET /api/status HTTP/1.1\r\n\r\n"), HasSubstr("\"cpuUsagePercent\":50.0,"));
}

TEST(HttpConnection, ReadsAHeadWithinItsLimits) {
  ClientLimits shortPause = kPatient;
  shortPause.pause = milliseconds(50);
  ClientLimits shortExchange = kPatient;
  shortExchange.exchange = milliseconds(100);
  const struct {
    std::string sent;  // a byte every 2 ms
    ClientLimits limits;
    bool taken;
  } cases[] = {
      {"GET / HTTP/1.1\r\n\r\n", kPatient, true},
      {"GET", shortPause, false},
      {std::string(8000, 'x'), shortExchange, false},
  };
  for (const auto& c : cases) {
    Connection connection;
    std::atomic<bool> done{false};
    std::thread sends([&] {
      for (size_t k = 0; k < c.sent.size() && !done; ++k) {
        connection.client.send(&c.sent[k], 1);
        std::this_thread::sleep_for(milliseconds(2));
      }
    });
    const auto start = steady_clock::now();
    const std::optional<std::string> head = ReceiveHead(connection.server, std::atomic<bool>(true), c.limits);
    done = true;
    sends.join();
    EXPECT_EQ(head, c.taken ? std::optional(c.sent) : std::nullopt);
    EXPECT_LT(steady_clock::now() - start, kPatience) << "by the short limit";
  }
}

TEST(HttpConnection, SendsAnAnswerForAsLongAsItIsTaken) {
  const std::string answer(8'000'000, 'a');
  for (const bool reads : {true, false}) {
    Connection connection;
    ClientLimits limits = kPatient;
    (reads ? limits.exchange : limits.pause) = milliseconds(reads ? 1 : 50);
    std::string part(40'000, '\0');
    size_t received = 0;
    const auto receive = [&] {
      for (int64_t count = 1; count > 0; received += static_cast<size_t>(std::max<int64_t>(count, 0))) {
        count = connection.client.receive(part.data(), part.size());
      }
    };
    std::thread reader(reads ? std::function<void()>(receive) : [] {});
    SendAnswer(connection.server, answer, "", std::atomic<bool>(true), limits);
    connection.server = platform::Socket();
    reader.join();
    if (reads) {
      EXPECT_EQ(received, answer.size()) << "longer than an answer may take, but always some of it";
    } else {
      receive();
      EXPECT_LT(received, answer.size());
    }
  }
}

}  // namespace
}  // namespace tarnwick::remote
