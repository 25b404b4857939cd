// The server's threads follow the processors that the user gives them, judged by what the kernel shows.
#include <gmock/gmock.h>

#include <algorithm>

#include "platform/socket.h"
#include "platform/threads.h"
#include "program.h"
#include "support/eventually.h"
#include "support/thread_masks.h"

namespace tarnwick::tests {
namespace {

constexpr uint16_t kPort = 20844;

platform::Socket connection(const std::string& request) {
  platform::Socket socket = platform::Socket::Tcp();
  EXPECT_TRUE(socket.connect(0x7f000001, kPort));
  EXPECT_EQ(socket.send(request.data(), request.size()), static_cast<int64_t>(request.size()));
  return socket;
}

std::string post(const std::string& target) {
  platform::Socket socket = connection("POST " + target + " HTTP/1.1\r\n\r\n");
  std::string answer;
  char bytes[4096];
  for (int64_t count = 0; (count = socket.receive(bytes, sizeof bytes)) > 0;) {
    answer.append(bytes, static_cast<size_t>(count));
  }
  return answer;
}

TEST(ServerThreads, TakeTheirGroupsProcessorsWhenTheyChange) {
  if (platform::ProcessorCount() < 2) {
    GTEST_SKIP() << "one processor";
  }
  RunningProgram program({"--remote-port", std::to_string(kPort), "--start", "--instances", "1"});
  ASSERT_TRUE(program.awaitOutput("Host running."));
  const platform::Socket client =
      connection("GET /ws HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Key: AAAA\r\n\r\n");
  const std::string process = std::to_string(program.processId());
  for (const uint64_t mask : {1u, 2u}) {
    const std::string chosen = "networkUiMask=" + std::to_string(mask) + "&engineMask=" + std::to_string(3 - mask);
    EXPECT_THAT(post("/api/cpu-steering/config?" + chosen), ::testing::HasSubstr(" 202 "));
    for (const char* name : {"twk-accept", "twk-push", "twk-beacon", "twk-session"}) {
      EXPECT_TRUE(Eventually([&] { return MasksOfThreadsNamed(name, process) == std::vector<uint64_t>{mask}; }))
          << name;
    }
    // A sanitizer has a thread of its own beside the first one, under the same name.
    EXPECT_TRUE(Eventually([&] {
      const std::vector<uint64_t> masks = MasksOfThreadsNamed("tarnwick", process);
      return std::find(masks.begin(), masks.end(), mask) != masks.end();
    }));
    EXPECT_TRUE(
        Eventually([&] { return MasksOfThreadsNamed("twk-virtual", process) == std::vector<uint64_t>{3 - mask}; }));
  }
  program.signal(SIGTERM);
  EXPECT_EQ(program.finish().exitCode, 0);
}

}  // namespace
}  // namespace tarnwick::tests
