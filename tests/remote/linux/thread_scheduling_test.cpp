// Processors and priority of the server's threads, as the kernel shows them.
#include <sched.h>

#include <algorithm>

#include "platform/threads.h"
#include "remote/server_rig.h"
#include "support/thread_masks.h"

namespace tarnwick::remote {
namespace {

TEST(ServerThreads, HaveTheirGroupsProcessorsAndTheNetworkPriority) {
  ServerRig rig;
  ASSERT_TRUE(rig.server.start());
  const WebSocketTester client(rig.port);
  const auto all = [](int policy, uint64_t mask) {
    int found = 0;
    for (const tests::ThreadMask& thread : tests::ThreadMasks("self")) {
      const bool network = thread.name == "twk-accept" || thread.name == "twk-beacon" || thread.name == "twk-push" ||
                           thread.name == "twk-session";
      found += network && sched_getscheduler(thread.id) == policy && thread.mask == mask;
    }
    return found == 4;
  };
  const uint64_t usable = platform::SystemAffinityMask();
  EXPECT_TRUE(Soon([&] { return all(SCHED_OTHER, usable); }));
  rig.networkPriority = 0;
  system::SetSteeringMask(rig.steering, system::SteeringGroup::networkUi, usable & -usable);
  EXPECT_TRUE(Soon([&] { return all(SCHED_IDLE, usable & -usable); }));
}

}  // namespace
}  // namespace tarnwick::remote
