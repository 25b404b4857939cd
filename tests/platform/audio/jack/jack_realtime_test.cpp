// The server's thread in a cycle, before and after the host's block.
#include <cstdlib>

#include "engine/realtime_watch.h"
#include "jack_rig.h"

namespace tarnwick::platform {
namespace {

TEST(JackRealtime, ACycleNeitherAllocatesNorLocksNorWaits) {
  if (std::system("command -v jackd >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "jackd is not installed";
  }
  JackServer server("tw-realtime-" + std::to_string(getpid()));
  ASSERT_TRUE(server.begin({48000, 64, 4, 4}));
  JackHost host(server.name);
  std::atomic<bool> allocate{false};
  host.onBlock = [&](int32_t, int64_t) {
    // From the first block until the thread ends.
    thread_local tests::WatchThisThread watch;
    static_cast<void>(watch);
    if (allocate.exchange(false)) {
      void* volatile memory = std::malloc(1);
      std::free(memory);
    }
  };
  host.run();
  ASSERT_TRUE(host.awaitBlocks(1));
  tests::TakeSeen();  // what the watch itself took to begin
  allocate = true;
  EXPECT_TRUE(Eventually([&] { return host.blocks > 300; }));
  EXPECT_EQ(tests::TakeSeen().forbidden, (std::vector<std::string>{"malloc", "free"})) << "the host's own, once";
  // A loss: what a cycle tells the rest of the program.
  {
    const Onlooker outside(server.name);
    ASSERT_EQ(jack_set_buffer_size(outside.client, 128), 0);
    EXPECT_TRUE(Eventually([&] { return !host.losses().empty(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  const tests::Seen seen = tests::TakeSeen();
  host.close();
  EXPECT_EQ(seen.forbidden, std::vector<std::string>{});
  EXPECT_EQ(seen.mutexLocks, 0);
}

}  // namespace
}  // namespace tarnwick::platform
