// The calling thread as the Linux scheduler sees it. `who` = 0 in setpriority and process id 0 in the sched_ calls mean
// the calling thread alone, as the kernel keeps nice values, policies and processor sets for each thread.
#include "platform/threads.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>

#include "platform/linux/thread_claims.h"

namespace tarnwick::platform {
namespace {

constexpr int kMaskBits = 64;
constexpr int kFifoPriority = 60;
constexpr int kHighestNice = -20;
constexpr int kLowestNice = 19;
constexpr int32_t kIdleLevel = -15;
constexpr int32_t kTimeCriticalLevel = 15;

struct NiceLevel {
  int32_t level;
  int nice;
};
constexpr NiceLevel kNiceLevels[] = {{kTimeCriticalLevel, kHighestNice}, {2, -10}, {1, -5}, {0, 0}, {-1, 5}};

// Written once each (PrepareThreads, or the first question), read by every thread. 0 = not yet known.
std::atomic<uint64_t> systemMask{0};
std::atomic<int32_t> processorCount{0};
// Set by PrepareThreads when the kernel lets a real-time thread run for ever.
std::atomic<bool> realtimeUnthrottled{false};

// State of this thread that RevertProAudio brings back.
struct ThreadState {
  int registrations = 0;  // those that were granted something
  int policyBefore = SCHED_OTHER;
  int priorityBefore = 0;
  int niceBefore = 0;
  bool levelAsked = false;  // SetThreadPriorityLevel was called meanwhile
  int32_t level = 0;
};
constinit thread_local ThreadState threadState;
constinit thread_local uint64_t threadWord = 0;

uint64_t affinityOf(pid_t thread) noexcept {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(thread, sizeof set, &set) != 0) {
    return 0;
  }
  uint64_t mask = 0;
  for (int k = 0; k < kMaskBits; ++k) {
    if (CPU_ISSET(static_cast<size_t>(k), &set)) {
      mask |= uint64_t{1} << k;
    }
  }
  return mask;
}

int policyNow() noexcept {
  const int policy = sched_getscheduler(0);
  return policy < 0 ? SCHED_OTHER : policy & ~SCHED_RESET_ON_FORK;
}

bool isRealtime(int policy) noexcept {
  return policy != SCHED_OTHER && policy != SCHED_BATCH && policy != SCHED_IDLE;
}

bool setPolicy(int policy, int priority) noexcept {
  sched_param parameter{};
  parameter.sched_priority = priority;
  return sched_setscheduler(0, policy, &parameter) == 0;
}

int realtimePriorityNow() noexcept {
  sched_param parameter{};
  return sched_getparam(0, &parameter) == 0 ? parameter.sched_priority : 0;
}

int niceNow() noexcept {
  errno = 0;
  const int nice = getpriority(PRIO_PROCESS, 0);
  return errno == 0 ? nice : 0;
}

bool setNice(int nice) noexcept {
  return setpriority(PRIO_PROCESS, 0, nice) == 0;
}

// Brings the nice value to `wanted`, or as near as RLIMIT_NICE lets a thread without privilege come.
void setNearestNice(int wanted) noexcept {
  if (setNice(wanted)) {
    return;
  }
  rlimit limit{};
  if (getrlimit(RLIMIT_NICE, &limit) != 0) {
    return;
  }
  const int best = 20 - static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 40));
  const int nearest = std::clamp(std::max(wanted, best), kHighestNice, kLowestNice);
  if (nearest < niceNow()) {
    setNice(nearest);
  }
}

int32_t levelOfNice(int nice) noexcept {
  for (const NiceLevel& step : kNiceLevels) {
    if (nice <= step.nice) {
      return step.level;
    }
  }
  return kIdleLevel;
}

int niceOfLevel(int32_t level) noexcept {
  for (const NiceLevel& step : kNiceLevels) {
    if (level >= step.level) {
      return step.nice;
    }
  }
  return kNiceLevels[std::size(kNiceLevels) - 1].nice;
}

int32_t levelNow() noexcept {
  const int policy = policyNow();
  if (isRealtime(policy)) {
    return kTimeCriticalLevel;
  }
  return policy == SCHED_IDLE ? kIdleLevel : levelOfNice(niceNow());
}

void applyLevel(int32_t level) noexcept {
  if (level <= kIdleLevel) {
    setPolicy(SCHED_IDLE, 0);
    return;
  }
  if (policyNow() == SCHED_IDLE) {
    setPolicy(SCHED_OTHER, 0);
  }
  setNearestNice(niceOfLevel(level));
}

// Turns the calling thread into a SCHED_FIFO one, at a lower priority where RLIMIT_RTPRIO asks for it.
bool enterFifo() noexcept {
  if (setPolicy(SCHED_FIFO, kFifoPriority)) {
    return true;
  }
  rlimit limit{};
  if (getrlimit(RLIMIT_RTPRIO, &limit) != 0 || limit.rlim_cur == 0 || limit.rlim_cur >= kFifoPriority) {
    return false;
  }
  return setPolicy(SCHED_FIFO, static_cast<int>(limit.rlim_cur));
}

// Raises the calling thread as far as it may and reads back from the kernel what came of it.
void raiseThread(RealtimeUse use, RealtimeRegistration& registration) noexcept {
  const int policyBefore = policyNow();
  const int priorityBefore = realtimePriorityNow();
  const int niceBefore = niceNow();
  const bool mayFifo = use == RealtimeUse::blocks || realtimeUnthrottled.load(std::memory_order_relaxed);
  // A thread that a sound server has already made real-time keeps the place that the server gave it.
  if (!isRealtime(policyBefore) && !(mayFifo && enterFifo())) {
    applyLevel(kTimeCriticalLevel);
  }
  const int policy = policyNow();
  const int nice = niceNow();
  if (isRealtime(policy)) {
    registration.grant = RealtimeGrant::fifo;
    registration.value = realtimePriorityNow();
  } else {
    // Also where the priority setting had raised it already: what counts is what the thread has.
    const bool raised = nice < 0 || nice < niceBefore || (policy != policyBefore && policyBefore == SCHED_IDLE);
    registration.grant = raised ? RealtimeGrant::nice : RealtimeGrant::none;
    registration.value = nice;
  }
  if (registration.grant != RealtimeGrant::none && threadState.registrations++ == 0) {
    threadState.policyBefore = policyBefore;
    threadState.priorityBefore = priorityBefore;
    threadState.niceBefore = niceBefore;
    threadState.levelAsked = false;
  }
}

}  // namespace

void PrepareThreads() noexcept {
  SystemAffinityMask();
  ProcessorCount();
  try {
    std::ifstream file("/proc/sys/kernel/sched_rt_runtime_us");
    int64_t microseconds = 0;
    realtimeUnthrottled.store(file >> microseconds && microseconds < 0, std::memory_order_relaxed);
  } catch (...) {  // stays throttled, the cautious answer
  }
}

uint64_t SystemAffinityMask() noexcept {
  uint64_t mask = systemMask.load(std::memory_order_relaxed);
  if (mask == 0) {
    // Linux keeps no mask for a process, only one for each thread, and a thread that has limited itself no longer
    // shows what it might have. So the first thread's set is read once, before any thread was limited, and kept.
    mask = affinityOf(getpid());
    uint64_t unknown = 0;
    if (!systemMask.compare_exchange_strong(unknown, mask, std::memory_order_relaxed)) {
      mask = unknown;
    }
  }
  return mask;
}

int32_t ProcessorCount() noexcept {
  int32_t count = processorCount.load(std::memory_order_relaxed);
  if (count == 0) {
    count = static_cast<int32_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    processorCount.store(count, std::memory_order_relaxed);
  }
  return count;
}

bool ProcessBindsThreads() noexcept {
  return false;
}

bool SetThreadAffinity(uint64_t mask) noexcept {
  threadClaims.claim(mask);
  cpu_set_t set;
  CPU_ZERO(&set);
  for (int k = 0; k < kMaskBits; ++k) {
    if (((mask >> k) & 1) != 0) {
      CPU_SET(static_cast<size_t>(k), &set);
    }
  }
  return sched_setaffinity(0, sizeof set, &set) == 0;
}

uint64_t ThreadAffinity() noexcept {
  return affinityOf(0);
}

void SetFlushDenormals() noexcept {
#if defined(__x86_64__)
  constexpr unsigned kFlushToZero = 0x8000;
  constexpr unsigned kDenormalsAreZero = 0x0040;
  _mm_setcsr(_mm_getcsr() | kFlushToZero | kDenormalsAreZero);
#elif defined(__aarch64__)
  // FZ covers both the results and the operands here.
  constexpr uint64_t kFlushToZero = uint64_t{1} << 24;
  uint64_t control = 0;
  __asm__ __volatile__("mrs %0, fpcr" : "=r"(control));
  __asm__ __volatile__("msr fpcr, %0" ::"r"(control | kFlushToZero));
#endif
}

int32_t SetThreadPriorityLevel(int32_t level) noexcept {
  if (threadState.registrations > 0 || isRealtime(policyNow())) {
    threadState.levelAsked = true;
    threadState.level = level;
  } else {
    applyLevel(level);
  }
  return levelNow();
}

void RegisterProAudio(RealtimeUse use, RealtimeRegistration& registration) noexcept {
  if (registration.registered) {
    return;
  }
  raiseThread(use, registration);
  registration.registered = true;
}

void RevertProAudio(RealtimeRegistration& registration) noexcept {
  if (!registration.registered) {
    return;
  }
  const bool granted = registration.grant != RealtimeGrant::none;
  registration = {};
  if (!granted || --threadState.registrations > 0) {
    return;
  }
  setPolicy(threadState.policyBefore, threadState.priorityBefore);
  setNice(threadState.niceBefore);
  if (threadState.levelAsked && !isRealtime(threadState.policyBefore)) {
    threadState.levelAsked = false;
    applyLevel(threadState.level);
  }
}

void SetThreadName(const char* name) noexcept {
  prctl(PR_SET_NAME, name);  // cuts at 15 characters by itself
}

void IgnoreClosedPipes() noexcept {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

uint64_t ThreadWord() noexcept {
  return threadWord;
}

void SetThreadWord(uint64_t word) noexcept {
  threadWord = word;
}

}  // namespace tarnwick::platform
