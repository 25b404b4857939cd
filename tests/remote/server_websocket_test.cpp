#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <thread>

#include "remote/push.h"
#include "remote/server_rig.h"
#include "remote/server_threads.h"
#include "remote/websocket_frames.h"

namespace tarnwick::remote {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kMonitor = "{\"type\":\"monitor\"";
const std::string kMeters = "{\"type\":\"meters\"";

TEST(ServerWebSocket, GreetsAndAnswers) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port, RequestFrame("\"id\":1,\"method\":\"GET\",\"path\":\"/healthz?a=b\""));
  EXPECT_EQ(client.answer(),
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n");
  const auto first = client.frame();
  const auto second = client.frame();
  ASSERT_TRUE(first && second);
  EXPECT_THAT(first->second, AllOf(StartsWith(kMonitor), HasSubstr(",\"record\":{"), HasSubstr(",\"playback\":{")));
  EXPECT_THAT(second->second, StartsWith(kMeters));
  EXPECT_THAT(client.textWith("response"), StartsWith("{\"type\":\"response\",\"id\":1,\"status\":200,\"ok\":true,"));

  const auto refusal = [](const std::string& id, const std::string& status, const std::string& error) {
    return "{\"type\":\"response\",\"id\":" + id + ",\"status\":" + status +
           ",\"ok\":false,\"bodyText\":\"{\\\"error\\\":\\\"" + error + "\\\"}\",\"body\":{\"error\":\"" + error +
           "\"}}";
  };
  const std::string invalid = refusal("0", "400", "invalid websocket request");
  const std::pair<std::string, std::string> exchanges[] = {
      {RequestFrame("\"id\":5,\"path\":\"/healthz\""), refusal("5", "404", "not found")},
      {MaskedFrame(kTextOpcode, "") + MaskedFrame(kTextOpcode, std::string(70000, ' ')), invalid},
      {MaskedFrame(0, "continued") + MaskedFrame(2, "binary") + MaskedFrame(kPongOpcode, "x") +
           MaskedFrame(kTextOpcode, "{"),
       invalid},
      // The longest text that a request may have, escaped, and a path that no request has.
      {RequestFrame("\"id\":7,\"path\":\"/api/host/config?pluginPath=" + std::string(3 * 4 * 4096, '%') + "\""),
       refusal("7", "400", "host config patch rejected")},
      {RequestFrame("\"id\":8,\"path\":\"/" + std::string(200'000, 'p') + "\""),
       refusal("8", "400", "invalid websocket request")},
  };
  for (const auto& [sent, answer] : exchanges) {
    ASSERT_TRUE(client.send(sent));
    EXPECT_EQ(client.textWith("response"), answer);
  }
  ASSERT_TRUE(client.send(MaskedFrame(kPingOpcode, "data")));
  std::optional<std::pair<uint8_t, std::string>> next;
  do {
    next = client.frame();
  } while (next && next->first != 0x8A);
  EXPECT_EQ(next, std::pair(uint8_t{0x8A}, std::string()));
}

TEST(ServerWebSocket, PushesWhatChanged) {
  ServerRig rig;
  rig.application.status.instances.resize(3);
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  EXPECT_THAT(client.textWith(kMeters), HasSubstr("\"instanceCount\":3"));

  // Meters and nothing else of what moves by itself.
  for (int k = 0; k < 3; ++k) {
    rig.change([&](Application& a) {
      a.status.instances[1].inputMeterDb = static_cast<float>(-10 - k);
      a.status.runningElapsedSeconds += 0.1;
      a.record.recordElapsedSeconds += 0.1;
      a.playback.position.currentSeconds += 0.1;
    });
    EXPECT_THAT(client.textWith("\"inputMeterDb\":" + std::to_string(-10 - k) + ".00"), StartsWith(kMeters));
    EXPECT_THAT(client.skipped, testing::Each(StartsWith(kMeters)));
  }
  const struct {
    std::function<void(Application&)> apply;
    std::string told;
    bool record, playback;  // which sections come with it
  } changes[] = {
      {[](Application& a) { a.status.instances[1].glitchCount = 7; }, "\"glitchCount\":7", false, false},
      {[](Application& a) { a.record.recordingFolder = L"takes"; }, "\"recordingFolder\":\"takes\"", true, false},
      {[](Application& a) { a.playback.volumeDbTenths = -55; }, "\"volumeDbTenths\":-55", false, true},
  };
  for (const auto& c : changes) {
    rig.change(c.apply);
    const std::string text = client.textWith(kMonitor);
    EXPECT_THAT(text, HasSubstr(c.told));
    EXPECT_EQ(text.find("\"record\":{") != text.npos, c.record) << c.told;
    EXPECT_EQ(text.find("\"playback\":{") != text.npos, c.playback) << c.told;
  }
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
  RemoteControlServer server(rig.context, callbacks);
  ASSERT_TRUE(server.start());
  WebSocketTester client(rig.port);
  EXPECT_THAT(client.textWith(kMonitor), HasSubstr("\"runningClockSyncId\":1,"));
  EXPECT_THAT(client.textWith(kMonitor), HasSubstr("\"runningClockSyncId\":2,"));
}

TEST(ServerWebSocket, SaysNothingOfAStateThatItWasNotTold) {
  ServerRig rig;
  rig.application.tellsStatus = false;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  rig.awaitPush();
  client.send(RequestFrame("\"id\":1,\"method\":\"GET\",\"path\":\"/healthz\""));
  client.textWith("response");
  EXPECT_THAT(client.skipped, testing::IsEmpty());
  rig.change([](Application& a) { a.tellsStatus = true; });
  EXPECT_THAT(client.textWith("{"), AllOf(StartsWith(kMonitor), HasSubstr("\"record\":{")));
}

TEST(ServerWebSocket, TellsOfEachProcessorWhileOneAsks) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  WebSocketTester watcher(rig.port);
  WebSocketTester other(rig.port);
  const auto subscribe = [](WebSocketTester& client, std::string_view enabled) {
    client.send(RequestFrame("\"id\":1,\"path\":\"/api/cpu-monitor/subscribe?enabled=" + std::string(enabled) + "\""));
    return client.textWith("response");
  };
  const std::string none = "\"cpuCoreUsagePercents\":[]";
  const std::string each = "\"cpuCoreUsagePercents\":[50.0,50.0]";
  EXPECT_THAT(other.textWith(kMonitor), HasSubstr(none));
  EXPECT_THAT(subscribe(other, "yes"), HasSubstr("\"status\":202,\"ok\":true,\"bodyText\":\"{\\\"accepted\\\":true,\\\""
                                                 "action\\\":\\\"cpu-monitor-unsubscribe\\\"}\""));
  EXPECT_THAT(subscribe(watcher, "TRUE"), HasSubstr("\"action\":\"cpu-monitor-subscribe\""));
  EXPECT_THAT(subscribe(watcher, "1"), HasSubstr("\"action\":\"cpu-monitor-subscribe\""));
  EXPECT_THAT(other.textWith(each), StartsWith(kMonitor));
  // Subscribed twice, left once; and a watcher that is gone no longer counts.
  EXPECT_THAT(subscribe(watcher, "false"), HasSubstr("cpu-monitor-unsubscribe"));
  EXPECT_THAT(other.textWith(none), StartsWith(kMonitor));
  subscribe(watcher, "true");
  other.textWith(each);
  watcher.close();
  EXPECT_THAT(other.textWith(none), StartsWith(kMonitor));
}

TEST(ServerWebSocket, HasRoomForSixtyFour) {
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
  EXPECT_TRUE(Soon([&] { return WebSocketTester(rig.port).answer().starts_with("HTTP/1.1 101"); }));
}

// A client that reads too late is not sent what is not the newest state any more.
TEST(ServerWebSocket, ASlowReaderSkipsStatesAndGetsTheLast) {
  ServerRig rig;
  rig.application.status.device.assign(200'000, L'd');  // more than the buffers on the way take
  ASSERT_TRUE(rig.server.start());
  WebSocketTester client(rig.port);
  client.textWith(kMeters);
  for (uint64_t k = 1; k <= 16; ++k) {
    rig.change([k](Application& a) {
      a.status.runningClockSyncId = k;
      a.record.recordingFolder = L"take " + std::to_wstring(k);
      a.playback.selectedWaveformPath = k >= 5 ? L"changed once" : L"";
    });
    rig.awaitPush();
  }
  std::string taken = client.textWith("\"runningClockSyncId\":16,");
  const auto isState = [](const std::string& text) { return text.starts_with(kMonitor); };
  EXPECT_LT(std::count_if(client.skipped.begin(), client.skipped.end(), isState), 12) << "by what the buffers hold";
  for (const std::string& one : client.skipped) {
    taken += one;
  }
  EXPECT_NE(taken.find("\"recordingFolder\":\"take 16\""), taken.npos);
  EXPECT_NE(taken.find("changed once"), taken.npos) << "it may have come while the client had no room";
  // From then on it is told what the others are.
  client.textWith(kMeters);
  rig.change([](Application& a) { a.playback.volumeDbTenths = -55; });
  EXPECT_THAT(client.textWith(kMonitor), Not(HasSubstr("\"record\":{")));
}

// One that asks for more than it reads is made to wait, and one that reads nothing is in nobody's way.
TEST(ServerWebSocket, OthersAndTheEndDoNotWaitForAClientThatDoesNotRead) {
  ServerRig rig;
  rig.application.status.device.assign(50'000, L'd');
  ASSERT_TRUE(rig.server.start());
  constexpr int kRequests = 100;  // 5 MB of answers
  const auto askAll = [](WebSocketTester& client) {
    std::string requests;
    for (int k = 1; k <= kRequests; ++k) {
      requests += RequestFrame("\"id\":" + std::to_string(k) + ",\"method\":\"GET\",\"path\":\"/api/status\"");
    }
    return client.send(requests);
  };
  WebSocketTester stalled(rig.port);
  WebSocketTester reads(rig.port);
  ASSERT_TRUE(askAll(stalled) && askAll(reads));
  for (int k = 1; k <= kRequests; ++k) {
    ASSERT_THAT(reads.textWith("response").substr(0, 60), HasSubstr("\"id\":" + std::to_string(k) + ",\"status\":200"));
  }
  const std::string large = "{\"type\":\"large\"" + std::string(100'000, ' ') + "}";
  for (int k = 0; k < 40; ++k) {
    rig.server.broadcastText(large);
    EXPECT_EQ(reads.textWith("large"), large);
  }
  EXPECT_THAT(reads.textWith(kMeters), StartsWith(kMeters));
  const auto start = steady_clock::now();
  rig.server.stop();
  EXPECT_LT(steady_clock::now() - start, kPatience);
  EXPECT_LT(stalled.receiveAll().size(), 4'000'000u);
}

// Stop waits for a request that is still with the application.
TEST(ServerWebSocket, StopReturnsAfterTheLastSession) {
  ServerRig rig;
  std::promise<void> release;
  std::atomic<bool> asked{false};
  std::atomic<bool> answered{false};
  RemoteControlCallbacks callbacks;
  callbacks.stopHost = [&, gate = release.get_future().share()] {
    asked = true;
    gate.wait();
    std::this_thread::sleep_for(milliseconds(50));  // a stop that does not wait returns meanwhile
    answered = true;
    return true;
  };
  RemoteControlServer server(rig.context, callbacks);
  ASSERT_TRUE(server.start());
  WebSocketTester client(rig.port, RequestFrame("\"id\":1,\"path\":\"/api/host/stop\""));
  ASSERT_TRUE(Soon([&] { return asked.load(); }));
  std::future<bool> stopped = std::async(std::launch::async, [&] {
    server.stop();
    return answered.load();
  });
  EXPECT_TRUE(client.ended());
  release.set_value();
  EXPECT_TRUE(stopped.get());
}

TEST(ServerWebSocket, SessionsAreJoinedOnceTheyHaveEnded) {
  ServerRig rig;
  ServerState state(rig.context, rig.application.callbacks());
  ASSERT_TRUE((state.tcpSocket = platform::Socket::Tcp()).bind(kLoopback, rig.port));
  ASSERT_TRUE(state.tcpSocket.listen() && state.tcpSocket.setBlocking(false));
  state.running = true;
  std::thread accepts([&] { AcceptLoop(state); });
  const auto sessions = [&] {
    const std::lock_guard lock(state.sessionMutex);
    return state.sessions.size();
  };
  bool joined = true;
  for (int k = 0; k < 3 && joined; ++k) {
    WebSocketTester client(rig.port);
    joined = Soon([&] { return sessions() == 1; });
  }
  EXPECT_TRUE(joined && Soon([&] { return sessions() == 0; }));
  state.running = false;
  accepts.join();
}

TEST(ServerWebSocket, PingsEveryFiveSecondsAndDropsOneThatTakesNothing) {
  ServerRig rig;
  Connection connection;
  WebSocketClients clients;
  clients.add(std::make_shared<WebSocketClient>(std::move(connection.server), ClientLimits{.pause = milliseconds(50)}));
  const RemoteControlCallbacks callbacks;
  Pusher pusher(clients, callbacks, [](RemoteStatusSnapshot&) {}, {});
  for (const int at : {100, 4999, 5000, 9999, 10'000}) {
    pusher.cycle(Pusher::Time(milliseconds(at)));
  }
  clients.broadcast("end");
  std::string received;
  for (char byte = 0; !received.ends_with("end") && connection.client.receive(&byte, 1) == 1;) {
    received += byte;
  }
  EXPECT_EQ(received, std::string("\x89\0\x89\0end", 7));
  clients.broadcast(std::string(20'000'000, 'x'));
  EXPECT_TRUE(Soon([&] {
    clients.flush();
    return clients.empty();
  }));
}

// Start, stop and settings changed while clients come and go. Meant for the sanitizers, too.
TEST(ServerStress, StopsAndStartsUnderLoad) {
  ServerRig rig;
  rig.application.status.instances.resize(127);
  ASSERT_TRUE(rig.server.start());
  std::atomic<bool> done{false};
  std::atomic<int> answers{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < 3; ++k) {
    threads.emplace_back([&] {
      while (!done) {
        WebSocketTester client(rig.port);
        for (int r = 0; r < 20 && client.connected() && !done; ++r) {
          client.send(RequestFrame("\"id\":1,\"path\":\"/api/host/stop\""));
          if (client.textWith("response") == "nothing came") {
            break;
          }
          ++answers;
        }
        answers += Exchange(rig.port, "GET /api/status HTTP/1.1\r\n\r\n").ends_with("}");
      }
    });
  }
  threads.emplace_back([&] {
    for (uint64_t k = 1; !done; ++k) {
      rig.change([](Application& a) { ++a.status.instances[5].glitchCount; });
      system::SetSteeringMask(rig.steering, system::SteeringGroup::networkUi, k % 2);
      rig.networkPriority = static_cast<int32_t>(k % 2) + 1;
      rig.server.broadcastText("{\"type\":\"notice\"}");
      std::this_thread::sleep_for(milliseconds(5));
    }
  });
  for (int k = 0; k < 8; ++k) {
    const int before = answers;
    EXPECT_TRUE(Soon([&] { return answers > before + 10; }));
    rig.server.stop();
    EXPECT_TRUE(rig.server.start());
  }
  done = true;
  rig.server.stop();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace tarnwick::remote
