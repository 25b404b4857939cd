// The hand-off to spinning workers: from publishing an empty job until it is done, one worker on its own core; and the
// longest pause of a worker over a minute, which shows whether the system takes its processor away.
#include <pthread.h>
#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "bench/statistics.h"
#include "engine/realtime_thread_pool.h"
#include "platform/threads.h"

namespace tarnwick::bench {
namespace {

void emptyJob(void*, uint64_t, uint32_t, uint32_t) {}

struct PoolRig {
  std::atomic<bool> mmcss{false};
  std::atomic<int32_t> grant{-1};
  std::atomic<int32_t> grantValue{0};
  system::CpuSteering steering;
  engine::PoolEnvironment environment{&mmcss, &steering, &grant, &grantValue};
};

void handOff(bool paced) {
  PoolRig rig;
  system::SetSteeringMask(rig.steering, system::SteeringGroup::engine, 2);  // the worker on processor 1
  engine::RealtimeThreadPool pool(1, 1, rig.environment);
  platform::SetThreadAffinity(1);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const int rounds = paced ? 4000 : 1000000;
  Samples samples(static_cast<size_t>(rounds));
  for (int round = 0; round < rounds; ++round) {
    samples.add(TicksOf([&] { pool.run(nullptr, &emptyJob, 1, 0, 64); }));
    if (paced) {
      std::this_thread::sleep_for(std::chrono::microseconds(1333));
    }
  }
  std::printf(
      "Publish to done, one worker, empty job, %s: median %.2f us (limit 1), 99 %% %.2f, 99.9 %% %.2f, "
      "maximum %.1f us\n",
      paced ? "a block apart " : "back to back", samples.microseconds(0.5), samples.microseconds(0.99),
      samples.microseconds(0.999), samples.microseconds(1.0));
  platform::SetThreadAffinity(platform::SystemAffinityMask());
}

// Jobs as fast as they go; a worker that is stopped holds its job up for as long.
void longestGap(int seconds) {
  PoolRig rig;
  rig.mmcss = true;
  system::SetSteeringMask(rig.steering, system::SteeringGroup::engine, 2);
  engine::RealtimeThreadPool pool(1, 1, rig.environment);
  platform::SetThreadAffinity(1);
  // As raised as the worker: a gap is then one that the system makes, not another program.
  platform::SetThreadPriorityLevel(15);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const int64_t frequency = platform::CounterFrequency();
  const int64_t end = platform::CounterNow() + seconds * frequency;
  int64_t longest = 0;
  int overTen = 0;
  int overForty = 0;
  for (int64_t now = platform::CounterNow(); now < end;) {
    const int64_t ticks = TicksOf([&] { pool.run(nullptr, &emptyJob, 1, 0, 64); });
    longest = std::max(longest, ticks);
    overTen += ticks > frequency / 100 ? 1 : 0;
    overForty += ticks > frequency / 25 ? 1 : 0;
    now = platform::CounterNow();
  }
  const char* grants[] = {"none", "nice", "SCHED_FIFO", "MMCSS"};
  std::printf(
      "Spinning worker over %d s, granted %s %d: longest hand-off %.1f us; %d over 10 ms, %d over 40 ms (real-time "
      "throttling would show 50 ms each second)\n",
      seconds, grants[rig.grant.load() & 3], rig.grantValue.load(), MicrosecondsOf(longest), overTen, overForty);
  platform::SetThreadPriorityLevel(0);
  platform::SetThreadAffinity(platform::SystemAffinityMask());
}

}  // namespace
}  // namespace tarnwick::bench

int main(int argc, char** argv) {
  using namespace tarnwick;
  platform::PrepareThreads();
  if (platform::ProcessorCount() < 2) {
    std::printf("One processor: a spinning worker has none of its own, nothing to measure.\n");
    return 0;
  }
  bench::handOff(false);
  bench::handOff(true);
  bench::longestGap(argc > 1 ? std::atoi(argv[1]) : 60);
}
