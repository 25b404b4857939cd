// The callback and the workers make no call that allocates, frees, locks (but for the pool pointer) or waits.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <thread>

#include "engine/pool_control.h"
#include "realtime_watch.h"
#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;
using tests::Seen;
using tests::TakeSeen;
using tests::WatchThisThread;
using tests::WatchWorkers;

std::wstring wide(const std::string& text) {
  return {text.begin(), text.end()};
}

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
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the worker runs, so this thread takes no job
  TakeSeen();
  WatchWorkers(true);
  const auto allocate = [](void*, uint64_t, uint32_t, uint32_t) {
    void* volatile memory = std::malloc(100);
    std::free(memory);
  };
  pool.run(nullptr, allocate, 1, 0, 64);
  WatchWorkers(false);
  EXPECT_EQ(TakeSeen().forbidden, (std::vector<std::string>{"malloc", "free"}));
}

// Runs blocks on a watched thread through every branch that a setting opens, the first block of a fresh thread
// included.
void expectClean(const std::wstring& modulePath, uint64_t poolThreads, bool mmcss, int32_t sampleType) {
  EngineRig rig;
  rig.device.inputs = rig.device.outputs = 8;
  rig.device.sampleType = sampleType;
  rig.device.calls.reserve(100000);  // the fake driver notes its calls in the block
  rig.engine.mmcssEnabled = mmcss;
  Host host(rig.engine, rig.user.ui());
  host.pluginPath = modulePath;
  host.rows.resize(8);
  for (int32_t i = 0; i < 8; ++i) {
    InstanceConfig& config = host.rows[static_cast<size_t>(i)].config;
    config = {i, i % 3};
    config.testSignalEnabled = i == 1;
    config.bypassEnabled = i == 2;
    config.inputGainDb = i;
    config.outputGainDb = -i;
  }
  rig.engine.captureHook = [](int32_t, int32_t) {};
  rig.engine.mixHook = [](int32_t, int32_t) {};
  ASSERT_TRUE(rig.startDevice());
  std::wstring error;
  ASSERT_TRUE(StartHost(host, &error, false)) << std::string(error.begin(), error.end());
  rig.engine.hostStartTimestamp = platform::CounterNow() - 10 * platform::CounterFrequency();
  if (poolThreads > 0) {
    const PoolEnvironment environment{&rig.engine.mmcssEnabled, &rig.steering, &rig.engine.granted.workers, nullptr,
                                      nullptr};
    ReleasePool(rig.engine, TakePool(rig.engine, std::make_shared<RealtimeThreadPool>(8, poolThreads, environment)));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the workers have started
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

TEST(RealtimeSafety, SerialAndPooledInEverySampleType) {
  const std::wstring gain = wide(std::string(TARNWICK_TEST_MODULES) + "/gain.vst3");
  for (const int32_t type : {platform::kFloat32LSB, platform::kInt24LSB, platform::kInt16MSB}) {
    expectClean(gain, 0, true, type);
  }
  expectClean(gain, 1, false, platform::kFloat32LSB);
  expectClean(gain, 1, true, platform::kFloat32LSB);
}

TEST(RealtimeSafety, WithTheBundledEffect) {
  expectClean(wide(TARNWICK_OMBREL), 0, true, platform::kFloat32LSB);
  expectClean(wide(TARNWICK_OMBREL), 1, true, platform::kFloat32LSB);
}

}  // namespace
}  // namespace tarnwick::engine
