// The callback and the workers make no call that allocates, frees, locks (but for the pool pointer) or waits.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <thread>

#include "host_rig.h"
#include "platform/text.h"
#include "realtime_watch.h"
#include "support/thread_masks.h"

namespace tarnwick::engine {
namespace {

using tests::HostRig;
using tests::Seen;
using tests::TakeSeen;
using tests::WatchThisThread;
using tests::WatchWorkers;

TEST(RealtimeWatch, NoticesWhatItIsThereFor) {
  TakeSeen();
  std::mutex mutex;
  void* volatile memory = nullptr;
  {
    const WatchThisThread watch;
    memory = std::malloc(100);
    std::free(memory);
    mutex.lock();
    mutex.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(1));
  }
  const Seen seen = TakeSeen();
  ASSERT_EQ(seen.forbidden.size(), 3u);
  EXPECT_EQ(seen.forbidden[0], "malloc");
  EXPECT_EQ(seen.forbidden[1], "free");
  EXPECT_NE(seen.forbidden[2].find("nanosleep"), std::string::npos);
  EXPECT_EQ(seen.mutexLocks, 1);
}

TEST(RealtimeWatch, NoticesAWorkerToo) {
  std::atomic<bool> mmcss{false};
  const system::CpuSteering steering;
  RealtimeThreadPool pool(1, 1, PoolEnvironment{&mmcss, &steering, nullptr, nullptr, nullptr});
  const auto allocate = [](void*, uint64_t, uint32_t, uint32_t) {
    void* volatile memory = std::malloc(100);
    std::free(memory);
  };
  TakeSeen();
  WatchWorkers(true);
  std::vector<std::string> seen;
  // Until the worker runs, this thread does its jobs, unwatched.
  EXPECT_TRUE(tests::Eventually([&] {
    pool.run(nullptr, allocate, 1, 0, 64);
    seen = TakeSeen().forbidden;
    return !seen.empty();
  }));
  WatchWorkers(false);
  EXPECT_EQ(seen, (std::vector<std::string>{"malloc", "free"}));
}

// Runs blocks on a watched thread through every branch that a setting opens, the first block of a fresh thread
// included.
void expectClean(const std::wstring& modulePath, uint64_t poolThreads, bool mmcss, int32_t sampleType) {
  HostRig rig(8, 8);
  rig.device.sampleType = sampleType;
  rig.device.calls.reserve(100000);  // the fake driver notes its calls in the block
  rig.engine.mmcssEnabled = mmcss;
  rig.host.pluginPath = modulePath;
  for (int32_t i = 0; i < 8; ++i) {
    rig.host.rows[static_cast<size_t>(i)].config = {i, i % 3, i == 1, i == 2, i, -i};
  }
  rig.engine.captureHook = [](int32_t, int32_t) {};
  rig.engine.mixHook = [](int32_t, int32_t) {};
  ASSERT_TRUE(rig.startDevice());
  ASSERT_EQ(rig.start(), L"");
  rig.engine.hostStartTimestamp = platform::CounterNow() - 10 * platform::CounterFrequency();
  if (poolThreads > 0) {
    rig.usePool(8, poolThreads);
    ASSERT_TRUE(tests::Eventually([&] { return tests::MasksOfThreadsNamed("twk-worker").size() == poolThreads; }));
  }
  TakeSeen();
  constexpr int kBlocks = 2000;
  std::thread([&] {
    const WatchThisThread watch;
    WatchWorkers(true);
    for (int block = 0; block < kBlocks; ++block) {
      if (block == 1000) {
        rig.device.callbacks.sampleRateDidChange(rig.device.callbacks.context, 96000.0);
      }
      if (block == 500) {
        rig.engine.enginePriority = 2;
        system::SetSteeringMask(rig.steering, system::SteeringGroup::engine, 1);
      }
      rig.device.runBlock();
    }
    WatchWorkers(false);
  }).join();
  const Seen seen = TakeSeen();
  EXPECT_EQ(seen.forbidden, std::vector<std::string>{});
  EXPECT_EQ(seen.mutexLocks, kBlocks) << "one lock a block, for the pool pointer";
  EXPECT_EQ(rig.engine.counters.callbackCount, static_cast<uint64_t>(kBlocks));
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
}

TEST(RealtimeSafety, SerialAndPooledInEverySampleTypeAndWithTheBundledEffect) {
  const std::wstring gain = tests::TestModule("gain");
  const std::wstring ombrel = platform::WideFromUtf8(TARNWICK_OMBREL);
  expectClean(gain, 0, true, platform::kInt24LSB);
  expectClean(gain, 0, true, platform::kInt16MSB);
  expectClean(gain, 1, false, platform::kFloat32LSB);
  expectClean(ombrel, 0, true, platform::kFloat32LSB);
  expectClean(ombrel, 1, true, platform::kFloat32LSB);
}

}  // namespace
}  // namespace tarnwick::engine
