#include "engine/realtime_thread_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "support/eventually.h"

namespace tarnwick::engine {
namespace {

struct PoolRig {
  std::atomic<bool> mmcss{false};
  system::CpuSteering steering;
  std::unique_ptr<RealtimeThreadPool> make(uint64_t instances, uint64_t threads) {
    return std::make_unique<RealtimeThreadPool>(instances, threads,
                                                PoolEnvironment{&mmcss, &steering, nullptr, nullptr, nullptr});
  }
};

// Every call notes what it was told; a late worker that mixes two jobs up leaves a wrong note.
struct Job {
  uint64_t number = 0;
  std::array<std::atomic<uint64_t>, 127> calls{};
  std::atomic<int> wrong{0};

  static void call(void* context, uint64_t instance, uint32_t half, uint32_t length) {
    auto& job = *static_cast<Job*>(context);
    job.calls[instance].fetch_add(1, std::memory_order_relaxed);
    if (half != job.number % 2 || length != job.number % 1000) {
      job.wrong.fetch_add(1);
    }
  }
};

void runJobs(RealtimeThreadPool& pool, uint64_t first, uint64_t jobs, uint64_t count) {
  std::array<Job, 2> slots;
  for (uint64_t number = first; number < first + jobs; ++number) {
    Job& job = slots[number % 2];
    job.number = number;
    for (auto& calls : job.calls) {
      calls.store(0);
    }
    pool.run(&job, &Job::call, count, static_cast<uint32_t>(number % 2), static_cast<uint32_t>(number % 1000));
    int wrong = job.wrong.load();
    for (uint64_t i = 0; i < 127; ++i) {
      wrong += job.calls[i].load() != (i < count ? 1u : 0u);
    }
    ASSERT_EQ(wrong, 0) << "job " << number;
  }
}

TEST(RealtimeThreadPool, EveryInstanceRunsOnceInEveryJob) {
  PoolRig rig;
  {
    SCOPED_TRACE("the callback helps one worker");
    auto pool = rig.make(127, 1);
    runJobs(*pool, 1, 20000, 127);
    runJobs(*pool, 20001, 100, 3);  // fewer instances than the pool was built for
  }
  {
    SCOPED_TRACE("a worker per instance, the callback only waits");
    auto pool = rig.make(1, 1);
    runJobs(*pool, 1, 20000, 1);
  }
  {
    SCOPED_TRACE("more workers than processors");
    auto pool = rig.make(4, 4);
    runJobs(*pool, 1, 30, 4);
  }
}

TEST(RealtimeThreadPool, StopsWhileIdleAndFollowsTheSettings) {
  PoolRig rig;
  rig.make(3, 2).reset();
  std::atomic<int32_t> grant{-1};
  RealtimeThreadPool pool(2, 1, PoolEnvironment{&rig.mmcss, &rig.steering, &grant, nullptr, nullptr});
  EXPECT_EQ(grant.load(), -1);
  rig.mmcss = true;
  EXPECT_TRUE(tests::Eventually([&] { return grant.load() >= 0; }, std::chrono::seconds(5)))
      << "a worker registers once the setting is on";
}

TEST(RealtimeThreadPool, WorkersByProcessors) {
  const struct {
    uint64_t instances, processors;
    bool wholeMachine;
    uint64_t workers;
  } cases[] = {{1, 64, true, 0},    {8, 2, true, 0},  {8, 2, false, 1},
               {127, 64, true, 62}, {8, 64, true, 8}, {5, 0, false, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(WorkerThreadsFor(c.instances, c.processors, c.wholeMachine), c.workers)
        << c.instances << " on " << c.processors;
  }
}

}  // namespace
}  // namespace tarnwick::engine
