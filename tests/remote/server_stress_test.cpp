// Start, stop and settings changed while clients come and go. Meant for the sanitizers, too.
#include <gmock/gmock.h>

#include <thread>

#include "remote/server_rig.h"
#include "remote/websocket_frames.h"

namespace tarnwick::remote {
namespace {

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
        for (int r = 0; r < 20 && client.connected(); ++r) {
          client.send(MaskedFrame(kTextOpcode, "{\"type\":\"request\",\"id\":1,\"path\":\"/api/host/stop\"}"));
          if (client.textWith("response") == "connection ended") {
            break;
          }
          ++answers;
        }
        if (Exchange(rig.port, "GET /api/status HTTP/1.1\r\n\r\n").ends_with("}")) {
          ++answers;
        }
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
    std::this_thread::sleep_for(milliseconds(150));
    const auto start = steady_clock::now();
    rig.server.stop();
    EXPECT_LT(steady_clock::now() - start, milliseconds(1500));
    EXPECT_TRUE(rig.server.start());
  }
  done = true;
  rig.server.stop();
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_GT(answers, 50);
}

}  // namespace
}  // namespace tarnwick::remote
