// A thread's own affairs: processors, priority, real-time scheduling, float mode. Every answer is what the
// system really granted. All functions act on the calling thread and make at most a short, non-waiting system call.
#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(_M_X64)
#include <immintrin.h>
#endif

namespace tarnwick::platform {

// Reads once what the other functions must not look up on the audio path. Call at the start of the program, on its
// first thread, before any thread is limited to processors. Without it a thread that spins gets no SCHED_FIFO.
void PrepareThreads() noexcept;

// Processors that this process may use, bit k = logical processor k; 0 when the system does not tell. Linux: as it was
// at the first call, because limiting the threads hides what the process was allowed.
uint64_t SystemAffinityMask() noexcept;
// Active processors of the machine, at least 1.
int32_t ProcessorCount() noexcept;
// Whether a thread can only have processors that its process has been limited to (Windows); see
// Processes::setOwnAffinity.
bool ProcessBindsThreads() noexcept;
// Limits the calling thread to the processors of `mask`; false when the system refuses.
bool SetThreadAffinity(uint64_t mask) noexcept;
// The calling thread's processors as the system sees them; 0 when it does not tell.
uint64_t ThreadAffinity() noexcept;

// Sets flush-to-zero and denormals-are-zero for the calling thread.
void SetFlushDenormals() noexcept;

// Thread priorities as Windows numbers them: -15 idle, -1, 0, +1, +2, +15 time-critical.
// Linux: -15 is SCHED_IDLE, the others a nice value (5, 0, -5, -10, -20); one that is not permitted becomes the
// nearest that is. Returns what was granted, as that number; a partial grant returns the nearest number not above it.
// Linux, while the thread has a grant from RegisterProAudio, or is real-time by other means: the level is only
// remembered, RevertProAudio applies it, and the answer is what the thread has now (15 when it is real-time).
int32_t SetThreadPriorityLevel(int32_t level) noexcept;

// How a thread that asks for real-time scheduling spends its time.
enum class RealtimeUse {
  blocks,  // waits for the device between blocks
  spins,   // never gives its processor up
};

// The system's answer.
enum class RealtimeGrant : int32_t {
  none,   // nothing: the thread runs as before
  nice,   // Linux: a raised nice value, where real-time scheduling is refused or would be throttled
  fifo,   // Linux: SCHED_FIFO
  mmcss,  // Windows: registered for the task "Pro Audio"
};

// One thread's registration for "Pro Audio". Empty until registered.
struct RealtimeRegistration {
  bool registered = false;  // nothing is to be gained by asking again
  RealtimeGrant grant = RealtimeGrant::none;
  int32_t value = 0;       // SCHED_FIFO priority, or the nice value
  void* handle = nullptr;  // Windows: the scheduler's handle
  uint32_t taskIndex = 0;  // Windows: the task's index
};

// Registers the calling thread. Linux gives a thread that spins SCHED_FIFO only when the kernel does not throttle
// real-time threads (kernel.sched_rt_runtime_us = -1), because it would stop a spinning one for up to 50 ms each
// second; it is asked once. Windows may refuse while its scheduler's service has not started: `registered` then stays
// clear, and the caller asks again kRegistrationPause later, kRegistrationTries times in all.
inline constexpr uint64_t kRegistrationPause = 30'000;  // milliseconds
inline constexpr uint32_t kRegistrationTries = 7;
void RegisterProAudio(RealtimeUse use, RealtimeRegistration& registration) noexcept;
// Undoes a registration on the thread that made it.
void RevertProAudio(RealtimeRegistration& registration) noexcept;

// Names the calling thread for debuggers and system tools; at most 15 ASCII characters.
void SetThreadName(const char* name) noexcept;

// From now on a write of the calling thread to a pipe or FIFO without a reader fails instead of ending the program.
void IgnoreClosedPipes() noexcept;

// A word that the calling thread keeps for the program's callback; 0 where it has never been set. Unlike a variable of
// the compiler's (thread_local), which some systems allocate at a thread's first look, it costs a driver's thread
// nothing. Real-time safe.
uint64_t ThreadWord() noexcept;
void SetThreadWord(uint64_t word) noexcept;

// The processor's hint for a spin loop.
inline void Pause() noexcept {
#if defined(__x86_64__) || defined(_M_X64)
  _mm_pause();
#elif defined(__aarch64__)
  __asm__ __volatile__("yield");
#endif
}

}  // namespace tarnwick::platform
