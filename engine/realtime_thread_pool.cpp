// The worker: spins until a job is published, takes instances, spins on. It makes no system call but for applying a
// changed affinity mask and a changed real-time setting to itself, and never allocates, locks or waits.
#include "engine/realtime_thread_pool.h"

#include <algorithm>

#include "platform/clock.h"
#include "system/priority.h"

namespace tarnwick::engine {
namespace {

constexpr uint64_t kIndexBits = 10;
constexpr uint64_t kIndexMask = (uint64_t{1} << kIndexBits) - 1;
constexpr uint64_t kJobShift = 2 * kIndexBits;
constexpr uint64_t kJobMask = ~uint64_t{0} >> kJobShift;

constexpr uint64_t packNext(uint64_t job, uint64_t count) {
  return (job & kJobMask) << kJobShift | count << kIndexBits;
}

}  // namespace

RealtimeThreadPool::RealtimeThreadPool(uint64_t workerCount, uint64_t threadCount, const PoolEnvironment& environment)
    : workerCount_(std::min(workerCount, kMostInstances)), environment_(environment) {
  try {
    threads_.reserve(threadCount);
    for (uint64_t worker = 0; worker < threadCount; ++worker) {
      threads_.emplace_back([this, worker] { work(worker); });
    }
  } catch (...) {
    stopAndJoin();
    throw;
  }
}

RealtimeThreadPool::~RealtimeThreadPool() {
  stopAndJoin();
}

void RealtimeThreadPool::stopAndJoin() noexcept {
  stop_.store(true, std::memory_order_release);
  generation_.fetch_add(1, std::memory_order_release);
  for (std::thread& thread : threads_) {
    thread.join();
  }
}

void RealtimeThreadPool::run(void* context, JobFunction job, uint64_t count, uint32_t half, uint32_t length) noexcept {
  const uint64_t number = generation_.load(std::memory_order_relaxed) + 1;
  jobContext_ = context;
  jobFunction_ = job;
  jobHalf_ = half;
  jobLength_ = length;
  activeWorkers_.store(static_cast<int32_t>(std::min(workerCount_, count)), std::memory_order_relaxed);
  done_.store(0, std::memory_order_relaxed);
  nextIndex_.store(packNext(number, count), std::memory_order_release);
  generation_.fetch_add(1, std::memory_order_release);
  if (ready_.load(std::memory_order_relaxed) < workerCount_) {
    takeInstances(number);
  }
  while (done_.load(std::memory_order_acquire) < static_cast<int32_t>(count)) {
    platform::Pause();
  }
}

void RealtimeThreadPool::takeInstances(uint64_t job) noexcept {
  uint64_t next = nextIndex_.load(std::memory_order_acquire);
  for (;;) {
    const uint64_t index = next & kIndexMask;
    const uint64_t count = next >> kIndexBits & kIndexMask;
    if (next >> kJobShift != (job & kJobMask) || index >= count) {
      return;
    }
    if (nextIndex_.compare_exchange_weak(next, next + 1, std::memory_order_acquire, std::memory_order_acquire)) {
      jobFunction_(jobContext_, index, jobHalf_, jobLength_);
      done_.fetch_add(1, std::memory_order_release);
      next = nextIndex_.load(std::memory_order_acquire);
    }
  }
}

void RealtimeThreadPool::work(uint64_t worker) noexcept {
  platform::SetThreadName("twk-worker");
  platform::SetFlushDenormals();
  system::ThreadSteering steering;
  platform::RealtimeRegistration registration;
  uint64_t nextAsk = 0;  // milliseconds
  uint32_t tries = 0;
  int32_t priorityIndex = -1;
  uint64_t seen = 0;
  bool ready = false;
  for (;;) {
    system::ApplyIfChanged(*environment_.steering, system::SteeringGroup::engine, steering);
    if (environment_.enginePriority != nullptr) {
      const int32_t index = system::ClampPriorityIndex(environment_.enginePriority->load(std::memory_order_relaxed));
      if (index != priorityIndex) {
        priorityIndex = index;
        platform::SetThreadPriorityLevel(system::PriorityAt(index).threadPriority);
      }
    }
    const bool wanted = environment_.mmcssEnabled->load(std::memory_order_relaxed);
    if (wanted && !registration.registered && tries < platform::kRegistrationTries &&
        platform::TickMilliseconds() >= nextAsk) {
      nextAsk = platform::TickMilliseconds() + platform::kRegistrationPause;
      tries += 1;
      platform::RegisterProAudio(platform::RealtimeUse::spins, registration);
      if (environment_.grantValue != nullptr) {
        environment_.grantValue->store(registration.value, std::memory_order_relaxed);
      }
      if (environment_.grant != nullptr) {
        environment_.grant->store(static_cast<int32_t>(registration.grant), std::memory_order_relaxed);
      }
    } else if (!wanted) {
      nextAsk = 0;
      tries = 0;
      if (registration.registered) {
        platform::RevertProAudio(registration);
      }
    }
    if (!ready) {
      ready = true;
      ready_.fetch_add(1, std::memory_order_relaxed);
    }
    const uint64_t generation = generation_.load(std::memory_order_acquire);
    if (generation == seen) {
      platform::Pause();
      continue;
    }
    seen = generation;
    if (stop_.load(std::memory_order_acquire)) {
      break;
    }
    if (static_cast<int32_t>(worker) < activeWorkers_.load(std::memory_order_relaxed)) {
      takeInstances(generation);
    }
  }
  if (registration.registered) {
    platform::RevertProAudio(registration);
  }
}

uint64_t WorkerThreadsFor(uint64_t instances, uint64_t engineProcessors, bool engineIsWholeMachine) noexcept {
  if (instances < 2) {
    return 0;
  }
  const uint64_t kept = engineIsWholeMachine ? 2 : 1;
  const uint64_t left = engineProcessors > kept ? engineProcessors - kept : 0;
  return std::min(instances, left);
}

}  // namespace tarnwick::engine
