#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <thread>

#include "remote/server_rig.h"
#include "remote/websocket_frames.h"

namespace tarnwick::remote {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::string_view kMonitor = "{\"type\":\"monitor\"";
constexpr std::string_view kMeters = "{\"type\":\"meters\"";

std::string request(std::string_view members) {
  return MaskedFrame(kTextOpcode, "{\"type\":\"request\"," + std::string(members) + "}");
}

TEST(ServerWebSocket, GreetsAndAnswers) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port, request("\"id\":1,\"method\":\"GET\",\"path\":\"/healthz?a=b\""));
  EXPECT_EQ(client.answer(),
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n");
  const auto first = client.frame();
  const auto second = client.frame();
  ASSERT_TRUE(first && second);
  EXPECT_THAT(first->second, testing::AllOf(StartsWith(std::string(kMonitor)), HasSubstr(",\"record\":{"),
                                            HasSubstr(",\"playback\":{")));
  EXPECT_THAT(second->second, StartsWith(std::string(kMeters)));
  EXPECT_THAT(client.textWith("response"), StartsWith("{\"type\":\"response\",\"id\":1,\"status\":200,\"ok\":true,"));

  const std::string invalid =
      "{\"type\":\"response\",\"id\":0,\"status\":400,\"ok\":false,\"bodyText\":\"{\\\"error\\\":\\\"invalid websocket "
      "request\\\"}\",\"body\":{\"error\":\"invalid websocket request\"}}";
  const std::string notFound =
      "{\"type\":\"response\",\"id\":5,\"status\":404,\"ok\":false,\"bodyText\":\"{\\\"error\\\":\\\"not "
      "found\\\"}\",\"body\":{\"error\":\"not found\"}}";
  const std::pair<std::string, std::string> exchanges[] = {
      {request("\"id\":5,\"path\":\"/healthz\""), notFound},
      {MaskedFrame(kTextOpcode, "") + MaskedFrame(kTextOpcode, std::string(70000, ' ')), invalid},
      {MaskedFrame(0, "continued") + MaskedFrame(2, "binary") + MaskedFrame(kPongOpcode, "x") +
           MaskedFrame(kTextOpcode, "{"),
       invalid},
  };
  for (const auto& [sent, answer] : exchanges) {
    ASSERT_TRUE(client.send(sent));
    EXPECT_EQ(client.textWith("response"), answer);
  }
  ASSERT_TRUE(client.send(MaskedFrame(kPingOpcode, "data")));
  std::optional<std::pair<uint8_t, std::string>> next;
  do {
    next = client.frame();
  } while (next && next->first == 0x81);
  EXPECT_EQ(next, std::pair(uint8_t{0x8A}, std::string()));
}

TEST(ServerWebSocket, PushesWhatChanged) {
  ServerRig rig;
  rig.application.status.instances.resize(3);
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  EXPECT_THAT(client.textWith(kMeters), HasSubstr("\"instanceCount\":3"));

  // Only what moves by itself: meters, about every 100 ms, and nothing else.
  const auto start = steady_clock::now();
  for (int k = 0; k < 5; ++k) {
    rig.change([&](Application& a) {
      a.status.instances[1].inputMeterDb = static_cast<float>(-10 - k);
      a.status.runningElapsedSeconds += 0.1;
      a.record.recordElapsedSeconds += 0.1;
      a.playback.position.currentSeconds += 0.1;
    });
    EXPECT_THAT(client.textWith("\"inputMeterDb\":" + std::to_string(-10 - k) + ".00"),
                StartsWith(std::string(kMeters)));
    for (const std::string& other : client.skipped) {
      EXPECT_THAT(other, StartsWith(std::string(kMeters)));
    }
  }
  EXPECT_GT(steady_clock::now() - start, milliseconds(300));

  rig.change([](Application& a) { a.status.instances[1].glitchCount = 7; });
  const std::string status = client.textWith(kMonitor);
  EXPECT_THAT(status, testing::AllOf(HasSubstr("\"glitchCount\":7"), Not(HasSubstr("\"record\":{")),
                                     Not(HasSubstr("\"playback\":{"))));
  rig.change([](Application& a) { a.record.recordingFolder = L"takes"; });
  EXPECT_THAT(client.textWith(kMonitor),
              testing::AllOf(HasSubstr("\"recordingFolder\":\"takes\""), Not(HasSubstr("\"playback\":{"))));
  rig.change([](Application& a) { a.playback.volumeDbTenths = -55; });
  EXPECT_THAT(client.textWith(kMonitor),
              testing::AllOf(HasSubstr("\"volumeDbTenths\":-55"), Not(HasSubstr("\"record\":{"))));
  client.textWith(kMeters);
  client.textWith(kMeters);
  EXPECT_THAT(client.skipped, testing::IsEmpty());

  rig.server.broadcastText("{\"type\":\"hello\"}");
  EXPECT_EQ(client.textWith("hello"), "{\"type\":\"hello\"}");
}

// The only client's first state is older than the first that the push thread sees.
TEST(ServerWebSocket, ANewClientMissesNoChange) {
  ServerRig rig;
  std::atomic<uint64_t> asked{0};
  RemoteControlCallbacks callbacks;
  callbacks.status = [&asked](RemoteStatusSnapshot& status) {
    status.runningClockSyncId = std::min<uint64_t>(++asked, 2);
    return true;
  };
  RemoteControlServer server(rig.context(rig.port), callbacks);
  ASSERT_TRUE(server.start());
  WebSocketTester client(rig.port);
  EXPECT_THAT(client.textWith(kMonitor), HasSubstr("\"runningClockSyncId\":1,"));
  EXPECT_THAT(client.textWith(kMonitor), HasSubstr("\"runningClockSyncId\":2,"));
}

TEST(ServerWebSocket, TellsOfEachProcessorWhileOneAsks) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester watcher(rig.port);
  WebSocketTester other(rig.port);
  const auto subscribe = [](WebSocketTester& client, std::string_view enabled) {
    client.send(request("\"id\":1,\"path\":\"/api/cpu-monitor/subscribe?enabled=" + std::string(enabled) + "\""));
    return client.textWith("response");
  };
  EXPECT_THAT(other.textWith(kMonitor), HasSubstr("\"cpuCoreUsagePercents\":[]"));
  EXPECT_THAT(subscribe(other, "yes"), HasSubstr("\"status\":202,\"ok\":true,\"bodyText\":\"{\\\"accepted\\\":true,\\\""
                                                 "action\\\":\\\"cpu-monitor-unsubscribe\\\"}\""));
  EXPECT_THAT(subscribe(watcher, "TRUE"), HasSubstr("\"action\":\"cpu-monitor-subscribe\""));
  EXPECT_THAT(subscribe(watcher, "1"), HasSubstr("\"action\":\"cpu-monitor-subscribe\""));
  EXPECT_THAT(other.textWith("\"cpuCoreUsagePercents\":[50.0,50.0]"), StartsWith(std::string(kMonitor)));
  // Subscribed twice, left once; and a watcher that is gone no longer counts.
  EXPECT_THAT(subscribe(watcher, "false"), HasSubstr("cpu-monitor-unsubscribe"));
  EXPECT_THAT(other.textWith("\"cpuCoreUsagePercents\":[]"), StartsWith(std::string(kMonitor)));
  subscribe(watcher, "true");
  other.textWith("\"cpuCoreUsagePercents\":[50.0,50.0]");
  watcher.close();
  EXPECT_THAT(other.textWith("\"cpuCoreUsagePercents\":[]"), StartsWith(std::string(kMonitor)));
}

TEST(ServerWebSocket, HasRoomForSixtyFourAndReapsThem) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  std::vector<std::unique_ptr<WebSocketTester>> clients;
  for (size_t k = 0; k < kMostWebSocketClients; ++k) {
    clients.push_back(std::make_unique<WebSocketTester>(rig.port));
    ASSERT_THAT(clients.back()->answer(), StartsWith("HTTP/1.1 101")) << k;
  }
  WebSocketTester refused(rig.port);
  EXPECT_THAT(refused.answer(), StartsWith("HTTP/1.1 503 Service Unavailable"));
  EXPECT_EQ(refused.receiveAll(), "{\"error\":\"too many clients\"}");
  EXPECT_THAT(Exchange(rig.port, "GET /healthz HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200"));

  clients.front()->send(MaskedFrame(kCloseOpcode, ""));
  EXPECT_TRUE(clients.front()->ended());
  clients.back()->send("\x81\x02{}");  // no frame of a client: not masked
  EXPECT_TRUE(clients.back()->ended());
  const auto end = steady_clock::now() + kPatience;
  std::string answer;
  do {
    answer = WebSocketTester(rig.port).answer();
  } while (answer.rfind("HTTP/1.1 101", 0) != 0 && steady_clock::now() < end);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 101"));
}

// What is not the newest state any more is not sent to a client that reads too late for it.
TEST(ServerWebSocket, ASlowReaderSkipsStatesAndGetsTheLast) {
  ServerRig rig;
  rig.application.status.device.assign(400'000, L'd');  // more than the buffers on the way take
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  client.textWith(kMeters);
  const auto count = [&rig](int value) {
    rig.change([value](Application& a) {
      a.status.runningClockSyncId = static_cast<uint64_t>(value);
      a.record.recordingFolder = L"take " + std::to_wstring(value);
    });
    std::this_thread::sleep_for(milliseconds(50));
  };
  std::vector<std::string> taken;
  for (int k = 1; k <= 24; ++k) {
    if (k == 12) {
      rig.change([](Application& a) { a.playback.selectedWaveformPath = L"changed once"; });
    }
    count(k);
  }
  taken.push_back(client.textWith("\"runningClockSyncId\":24,"));
  EXPECT_LE(client.skipped.size(), 12u) << "of some 48, by what the system's buffers hold";
  taken.insert(taken.end(), client.skipped.begin(), client.skipped.end());
  const auto told = [&taken](const char* text) {
    return std::any_of(taken.begin(), taken.end(), [&](const std::string& one) { return one.find(text) != one.npos; });
  };
  EXPECT_TRUE(told("\"recordingFolder\":\"take 24\""));
  EXPECT_TRUE(told("changed once")) << "it may have come while the client had no room";
  // From then on it is told what the others are.
  client.textWith(kMeters);
  rig.change([](Application& a) { a.playback.volumeDbTenths = -55; });
  EXPECT_THAT(client.textWith(kMonitor), Not(HasSubstr("\"record\":{")));
}

// Who asks for more than it reads is made to wait, and is neither dropped nor in the way of others or of the end.
TEST(ServerWebSocket, RequestsWaitUntilTheAnswersBeforeThemAreTaken) {
  ServerRig rig;
  rig.application.status.device.assign(50'000, L'd');
  ASSERT_TRUE(rig.server.start());
  constexpr int kRequests = 400;  // 40 MB of answers
  const auto askAll = [](WebSocketTester& client) {
    std::string requests;
    for (int k = 1; k <= kRequests; ++k) {
      requests += request("\"id\":" + std::to_string(k) + ",\"method\":\"GET\",\"path\":\"/api/status\"");
    }
    return client.send(requests);
  };
  WebSocketTester reads(rig.port);
  ASSERT_TRUE(askAll(reads));
  for (int k = 1; k <= kRequests; ++k) {
    ASSERT_THAT(reads.textWith("response").substr(0, 60), HasSubstr("\"id\":" + std::to_string(k) + ",\"status\":200"));
    std::this_thread::sleep_for(milliseconds(1));
  }
  EXPECT_THAT(reads.textWith(kMeters), StartsWith(std::string(kMeters)));

  WebSocketTester stalled(rig.port);
  ASSERT_TRUE(askAll(stalled));
  reads.textWith(kMeters);
  const auto start = steady_clock::now();
  for (int k = 0; k < 5; ++k) {
    reads.textWith(kMeters);
  }
  EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
  rig.server.stop();
  EXPECT_LT(steady_clock::now() - start, milliseconds(1900)) << "before it would have been dropped anyway";
  EXPECT_LT(stalled.receiveAll().size(), 4'000'000u);
}

// The longest text that a request may have, escaped, and a path that no request has.
TEST(ServerWebSocket, AnswersWithTheIdHoweverLongThePathIs) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  const std::pair<std::string, const char*> cases[] = {
      {"/api/host/config?pluginPath=" + std::string(3 * 4 * 4096, '%'), "host config patch rejected"},
      {"/" + std::string(200'000, 'p'), "invalid websocket request"}};
  for (const auto& [path, error] : cases) {
    client.send(request("\"id\":7,\"path\":\"" + path + "\""));
    EXPECT_THAT(client.textWith("response"), testing::AllOf(HasSubstr("\"id\":7,\"status\":400"), HasSubstr(error)));
  }
}

// Three who behave badly at once: one that does not read its frames, one that sends its request a byte a second, and
// one that reads as it should and must not notice the others.
TEST(ServerWebSocket, SlowClientsHarmNobodyElse) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester stalled(rig.port);
  WebSocketTester good(rig.port);
  good.textWith(kMeters);
  good.textWith(kMeters);  // the second is a push: it is among the clients now
  const auto start = steady_clock::now();
  auto trickle = std::async(std::launch::async, [&] {
    Client slow(rig.port);
    while (slow.send("x") && steady_clock::now() - start < milliseconds(15000)) {
      std::this_thread::sleep_for(milliseconds(500));
    }
    return steady_clock::now() - start;
  });
  constexpr size_t kMessages = 40;  // more than the buffers on the way take by themselves
  const std::string large = "{\"type\":\"large\"" + std::string(100'000, ' ') + "}";
  for (size_t k = 0; k < kMessages; ++k) {
    rig.server.broadcastText(large);
    EXPECT_EQ(good.textWith("large"), large);
  }
  EXPECT_LT(steady_clock::now() - start, milliseconds(2000));

  steady_clock::time_point ping{};
  auto last = steady_clock::now();
  while (ping == steady_clock::time_point() && last - start < milliseconds(7000)) {
    const auto next = good.frame();
    ASSERT_TRUE(next);
    EXPECT_LT(steady_clock::now() - last, milliseconds(1000));
    last = steady_clock::now();
    if (next->first == 0x89) {
      ping = last;
    }
  }
  EXPECT_THAT(ping - start, testing::AllOf(testing::Gt(milliseconds(4500)), testing::Lt(milliseconds(6500))));
  EXPECT_LT(stalled.receiveAll(kMessages * large.size()).size(), kMessages * large.size());
  EXPECT_THAT(trickle.get(), testing::AllOf(testing::Gt(milliseconds(9900)), testing::Lt(milliseconds(12500))));
}

}  // namespace
}  // namespace tarnwick::remote
