#include "engine/realtime_thread_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfenv>
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
  const struct {
    const char* name;
    uint64_t instances, workers, jobs;
  } cases[] = {{"the callback helps one worker", 127, 1, 20000},
               {"a worker per instance, the callback only waits", 1, 1, 20000},
               {"more workers than processors", 4, 4, 30}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    PoolRig rig;
    auto pool = rig.make(c.instances, c.workers);
    runJobs(*pool, 1, c.jobs, c.instances);
    runJobs(*pool, c.jobs + 1, 20, (c.instances + 1) / 2);  // fewer than the pool was built for
  }
}

TEST(RealtimeThreadPool, WorkersTakeDenormalsForZero) {
  struct Look {
    std::thread::id thread;
    uint32_t bits = 1;
  } look;
  const auto job = [](void* context, uint64_t, uint32_t, uint32_t) {
    volatile float tiny = 2e-38f;
    *static_cast<Look*>(context) = {std::this_thread::get_id(), std::bit_cast<uint32_t>(tiny * 0.5f)};
  };
  std::fesetenv(FE_DFL_ENV);  // the mode is inherited
  PoolRig rig;
  auto pool = rig.make(1, 1);
  EXPECT_TRUE(tests::Eventually([&] {
    pool->run(&look, job, 1, 0, 64);
    return look.thread != std::this_thread::get_id();
  }));
  EXPECT_EQ(look.bits, 0u);
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
