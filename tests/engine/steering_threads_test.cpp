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
#include "system/process_steering.h"

// Linked instead of the C library's: what the program takes for the machine.
extern "C" int __real_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set);
extern "C" int __wrap_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set);
extern "C" int __wrap_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set) {
  const int result = __real_sched_getaffinity(thread, size, set);
  for (size_t k = 0; result == 0 && k < 6; ++k) {
    CPU_SET(k, set);
  }
  return result;
}

namespace tarnwick::engine {
namespace {

using system::SteeringGroup;
using tests::DriverThread;
using tests::EngineRig;
using tests::Eventually;
using tests::MasksOfThreadsNamed;

constexpr uint64_t kAll = 0b111111;

uint64_t there() {
  return std::min(kAll, (uint64_t{1} << std::min(platform::ProcessorCount(), int32_t{6})) - 1);
}

bool allAre(const std::vector<uint64_t>& masks, size_t count, uint64_t mask) {
  return masks == std::vector<uint64_t>(count, mask);
}

// A host of four instances that runs.
struct RunningRig : EngineRig {
  RunningRig() {
    engine.mmcssEnabled = false;  // a machine with few processors would be stopped by spinning real-time workers
    device.results["ASIOOutputReady"] = platform::ASE_NotPresent;
    EXPECT_TRUE(startDevice());
    for (int32_t i = 0; i < 4; ++i) {
      addInstance(0, 0);
    }
    runHost();
    ReconfigurePool(engine, true);
  }
  ~RunningRig() {
    engine.hostRunning = false;
    ReleasePool(engine, TakePool(engine));
  }
  RunningRig(const RunningRig&) = delete;
  RunningRig& operator=(const RunningRig&) = delete;

  size_t workers() {
    const std::lock_guard<std::mutex> lock(engine.poolMutex);
    return engine.pool ? engine.pool->threadCount() : 0;
  }
};

class SteeringThreads : public testing::Test {
 protected:
  void SetUp() override {
    if (platform::ProcessorCount() < 2) {
      GTEST_SKIP() << "one processor";
    }
    ASSERT_EQ(system::SystemMask(), kAll);
  }
};

TEST_F(SteeringThreads, NoThreadOfTheEngineIsCaughtByALimitOnTheOwnProcess) {
  RunningRig rig;
  const DriverThread callback(rig.device, 1);
  std::atomic<bool> end{false};
  std::thread plain([&end] {
    platform::SetThreadName("twk-plain");
    end.wait(false);
  });
  const platform::Processes processes = platform::SystemProcesses();
  // Record alone has processor 1, so the process may use all; then the process may use only what the groups have.
  const system::SteeringMasks masks[] = {{0b111101, 2, 0, 0, 0}, {0b000001, 0, 0, 0, 0}, {0b000010, 0, 0, 0, 0}};
  for (const system::SteeringMasks& chosen : masks) {
    system::ChangeSteering(processes, rig.steering, chosen);
    RefitPool(rig.engine);
    callback.awaitBlocks(2);
    const uint64_t engineMask = chosen[0] & there();
    EXPECT_TRUE(Eventually([&] { return allAre(MasksOfThreadsNamed("twk-test-audio"), 1, engineMask); }));
    EXPECT_TRUE(Eventually([&] { return allAre(MasksOfThreadsNamed("twk-worker"), rig.workers(), engineMask); }));
    EXPECT_EQ(MasksOfThreadsNamed("twk-plain"), std::vector<uint64_t>{(chosen[0] | chosen[1]) & there()});
  }
  end.store(true);
  end.notify_all();
  plain.join();
  processes.setOwnAffinity(kAll);
}

TEST_F(SteeringThreads, TheHostStopThreadBelongsToTheUserInterfacesGroup) {
  EngineRig rig;
  system::SetSteeringMask(rig.steering, SteeringGroup::networkUi, 0b000010);
  std::atomic<uint64_t> seen{0};
  HostUi ui = rig.user.ui();
  ui.postStopFinished = [&seen] {
    const std::vector<uint64_t> masks = MasksOfThreadsNamed("twk-host-stop");
    seen.store(masks.size() == 1 ? masks[0] : 0);
    return true;
  };
  Host host(rig.engine, ui);
  rig.engine.hostRunning = true;
  StopHostAsync(host);
  EXPECT_TRUE(Eventually([&] { return seen.load() == 0b000010; }));
  CompleteHostStop(host);
}

TEST_F(SteeringThreads, CallbackAndWorkersFollowTheEngineGroup) {
  RunningRig rig;
  const DriverThread callback(rig.device, 1);
  struct Case {
    uint64_t mask;
    size_t workers;
  };
  // One processor is the callback's; one more stays free where the group is the whole machine.
  const Case cases[] = {{0b000111, 2}, {0b000001, 0}, {0b011111, 4}, {0, 4}, {0b000110, 1}, {kAll, 4}, {0b111101, 4}};
  for (const Case& c : cases) {
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
}

TEST_F(SteeringThreads, ARestingOrStoppingHostGetsNoPool) {
  RunningRig rig;
  ReleasePool(rig.engine, TakePool(rig.engine));
  rig.engine.hostStopping = true;
  RefitPool(rig.engine);
  EXPECT_EQ(rig.workers(), 0u) << "the stop has taken it out already";
  rig.engine.hostStopping = false;
  rig.engine.hostRunning = false;
  RefitPool(rig.engine);
  EXPECT_EQ(rig.workers(), 0u);
}

}  // namespace
}  // namespace tarnwick::engine
