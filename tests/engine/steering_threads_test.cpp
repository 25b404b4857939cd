// Every long-lived thread of the engine takes its group's processors, and takes the new ones when the user changes
// them: judged by what the kernel shows of each thread. The program is told of a machine with six processors, so that
// a pool has workers on any machine; this runs where at least the first two are there.
#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <thread>

#include "host_rig.h"
#include "support/thread_masks.h"

namespace tarnwick::engine {
namespace {

using system::SteeringGroup;
using tests::DriverThread;
using tests::Eventually;
using tests::HostRig;
using tests::MasksOfThreadsNamed;
using tests::NicesOfThreadsNamed;

constexpr uint64_t kAll = 0b111111;

uint64_t there() {
  return std::min(kAll, (uint64_t{1} << std::min(platform::ProcessorCount(), int32_t{6})) - 1);
}

bool allAre(const std::vector<uint64_t>& masks, size_t count, uint64_t mask) {
  return masks == std::vector<uint64_t>(count, mask);
}

// A host of four instances that runs.
struct RunningRig : HostRig {
  RunningRig() : HostRig(4, 4) {
    steering.processors = kAll;
    device.results["ASIOOutputReady"] = platform::ASE_NotPresent;
    EXPECT_TRUE(startDevice());
    EXPECT_EQ(start(), L"");
  }
  ~RunningRig() { stop(); }

  size_t workers() { return engine.pool ? engine.pool->threadCount() : 0; }
};

class SteeringThreads : public testing::Test {
 protected:
  void SetUp() override {
    if (platform::ProcessorCount() < 2) {
      GTEST_SKIP() << "one processor";
    }
  }
};

TEST_F(SteeringThreads, CallbackAndWorkersFollowTheEngineGroup) {
  RunningRig rig;
  const DriverThread callback(rig.device, 1);
  const struct {
    uint64_t mask;
    size_t workers;
  } cases[] =
      // One processor is the callback's; one more stays free where the group is the whole machine.
      {{0b000111, 2}, {0b000001, 0}, {0b011111, 4}, {0, 4}, {0b000110, 1}, {kAll, 4}, {0b111101, 4}};
  for (const auto& c : cases) {
    const RealtimeThreadPool* const before = rig.engine.pool.get();
    const bool asMany = rig.workers() == c.workers;
    system::SetSteeringMask(rig.steering, SteeringGroup::engine, c.mask);
    RefitPool(rig.engine);
    EXPECT_EQ(rig.workers(), c.workers) << c.mask;
    EXPECT_EQ(rig.engine.pool.get() == before, asMany) << c.mask;
    callback.awaitBlocks(2);
    const uint64_t expected = (c.mask == 0 ? kAll : c.mask) & there();
    EXPECT_TRUE(Eventually([&] { return allAre(MasksOfThreadsNamed("twk-worker"), c.workers, expected); }))
        << c.mask << ": workers of the pool before have ended";
    EXPECT_TRUE(Eventually([&] { return allAre(MasksOfThreadsNamed("twk-test-audio"), 1, expected); })) << c.mask;
  }
  EXPECT_EQ(rig.engine.counters.skippedBlocks.load(), 0u);

  system::SetSteeringMask(rig.steering, SteeringGroup::networkUi, 0b000010);
  std::atomic<bool> limited{false};
  rig.host.ui.postStopFinished = [&] {
    const std::vector<uint64_t> masks = MasksOfThreadsNamed("twk-host-stop");
    limited.store(!masks.empty() && allAre(masks, masks.size(), 0b000010));
    rig.user.stopsFinished.fetch_add(1);
    return true;
  };
  rig.stop();
  EXPECT_TRUE(limited.load()) << "the thread that stops the host is the user interface's";
}

TEST_F(SteeringThreads, CallbackAndWorkersTakePriorityAndRegistration) {
  RunningRig rig;
  system::SetSteeringMask(rig.steering, SteeringGroup::engine, 0b11);
  RefitPool(rig.engine);  // a processor for the worker, one for the callback
  const DriverThread callback(rig.device, 1);
  rig.engine.enginePriority = 1;
  for (const char* name : {"twk-worker", "twk-test-audio"}) {
    EXPECT_TRUE(Eventually([&] { return NicesOfThreadsNamed(name) == std::vector<int>{5}; })) << name;
  }
  EXPECT_EQ(rig.engine.granted.callback, -1);
  EXPECT_EQ(rig.engine.granted.workers, -1);
  rig.engine.mmcssEnabled = true;
  EXPECT_TRUE(Eventually([&] { return rig.engine.granted.callback >= 0; }));
  EXPECT_TRUE(Eventually([&] { return rig.engine.granted.workers >= 0; }));
}

}  // namespace
}  // namespace tarnwick::engine
