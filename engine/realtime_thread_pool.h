// The spinning workers that share the instances of one block.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "platform/threads.h"
#include "system/cpu_steering.h"

namespace tarnwick::engine {

inline constexpr size_t kCacheLine = 64;

// Settings and state that the workers follow while they live. All pointers outlive the pool.
struct PoolEnvironment {
  const std::atomic<bool>* mmcssEnabled = nullptr;
  const system::CpuSteering* steering = nullptr;
  // Receive the RealtimeGrant and its value of the last worker that registered; may be null.
  std::atomic<int32_t>* grant = nullptr;
  std::atomic<int32_t>* grantValue = nullptr;
  const std::atomic<int32_t>* enginePriority = nullptr;  // row of the priority table; null: as started
};

// Runs job(0..count-1) once each, spread over its threads. A worker takes the next free index, so a slow instance holds
// up no other; workers spin with the pause instruction and occupy a processor each for as long as the pool exists.
//
// With as many threads as instances the callback only waits, once every worker runs. With fewer (a machine with fewer
// processors than instances) the callback takes indices too.
//
// Publishing: the job's fields, then `nextIndex`, then `generation` (release). A worker that sees the generation takes
// indices from `nextIndex`, which carries the job's number beside the index: one that comes late to a finished job
// finds another number there and takes nothing of the next one. The fields are read only after an index was taken, and
// a job cannot end before that index is done. Every job ends with `done` = count (release), which the callback awaits
// (acquire).
class RealtimeThreadPool {
 public:
  // (context, instance index, buffer half, block length in samples)
  using JobFunction = void (*)(void* context, uint64_t instance, uint32_t half, uint32_t length);

  static constexpr uint64_t kMostInstances = 1023;

  // Starts `threadCount` workers for up to `workerCount` instances. Throws std::system_error when a thread cannot be
  // started (those already started have ended then). User-interface thread.
  RealtimeThreadPool(uint64_t workerCount, uint64_t threadCount, const PoolEnvironment& environment);
  RealtimeThreadPool(const RealtimeThreadPool&) = delete;
  RealtimeThreadPool& operator=(const RealtimeThreadPool&) = delete;
  // Stops and joins every worker. Never on the audio path.
  ~RealtimeThreadPool();

  // Runs one job and returns when all of it is done. Callback only; count at most workerCount. Real-time safe.
  void run(void* context, JobFunction job, uint64_t count, uint32_t half, uint32_t length) noexcept;

  uint64_t workerCount() const noexcept { return workerCount_; }
  uint64_t threadCount() const noexcept { return threads_.size(); }

 private:
  void work(uint64_t worker) noexcept;
  void takeInstances(uint64_t job) noexcept;
  void stopAndJoin() noexcept;

  // Set by the constructor, then only read.
  uint64_t workerCount_;
  PoolEnvironment environment_;
  std::vector<std::thread> threads_;

  alignas(kCacheLine) std::atomic<bool> stop_{false};
  alignas(kCacheLine) std::atomic<uint64_t> ready_{0};       // workers that run; they add, the callback reads
  alignas(kCacheLine) std::atomic<uint64_t> generation_{0};  // callback writes, workers read
  alignas(kCacheLine) std::atomic<int32_t> done_{0};         // workers add, callback resets and awaits
  // Job number in the upper 44 bits, then 10 bits of count and 10 bits of next index. All write.
  alignas(kCacheLine) std::atomic<uint64_t> nextIndex_{0};
  // The job: callback writes before publishing, takers of an index read.
  alignas(kCacheLine) std::atomic<int32_t> activeWorkers_{0};
  void* jobContext_ = nullptr;
  JobFunction jobFunction_ = nullptr;
  uint32_t jobHalf_ = 0;
  uint32_t jobLength_ = 0;
};

// How many workers a pool gets for `instances`: one each when `engineProcessors` leave that beside the callback's own
// and, where the engine may use the whole machine, one for everything else; otherwise what they leave. 0: no pool.
uint64_t WorkerThreadsFor(uint64_t instances, uint64_t engineProcessors, bool engineIsWholeMachine) noexcept;

}  // namespace tarnwick::engine
