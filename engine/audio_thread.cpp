#include "engine/audio_thread.h"

#include "platform/clock.h"
#include "platform/threads.h"
#include "system/priority.h"

namespace tarnwick::engine {
namespace {

static_assert(platform::kRegistrationTries <= 7);

uint32_t nowInThreadUnits() noexcept {
  return static_cast<uint32_t>(platform::TickMilliseconds() >> 10 & 0x7ffff);
}

}  // namespace

AudioThread ThisAudioThread() noexcept {
  const uint64_t word = platform::ThreadWord();
  AudioThread thread;
  thread.steering.generation = static_cast<uint32_t>(word);
  thread.priorityIndex = static_cast<int32_t>(word >> 32 & 0xff) - 1;
  thread.floatModeSet = (word >> 40 & 1) != 0;
  thread.registered = (word >> 41 & 1) != 0;
  thread.tries = static_cast<uint32_t>(word >> 42 & 7);
  thread.askedAt = static_cast<uint32_t>(word >> 45);
  return thread;
}

void KeepAudioThread(const AudioThread& thread) noexcept {
  platform::SetThreadWord(uint64_t{thread.steering.generation} | static_cast<uint64_t>(thread.priorityIndex + 1) << 32 |
                          uint64_t{thread.floatModeSet} << 40 | uint64_t{thread.registered} << 41 |
                          uint64_t{thread.tries} << 42 | uint64_t{thread.askedAt} << 45);
}

void SetFloatMode(AudioThread& thread) noexcept {
  if (!thread.floatModeSet) {
    platform::SetFlushDenormals();
    thread.floatModeSet = true;
  }
}

void ApplyPriority(Engine& engine, AudioThread& thread) noexcept {
  const int32_t index = system::ClampPriorityIndex(engine.enginePriority.load(std::memory_order_relaxed));
  if (index != thread.priorityIndex) {
    thread.priorityIndex = index;
    const int32_t granted = platform::SetThreadPriorityLevel(system::PriorityAt(index).threadPriority);
    engine.granted.callbackPriority.store(granted, std::memory_order_relaxed);
  }
}

void RegisterForRealtime(Engine& engine, AudioThread& thread) noexcept {
  if (thread.registered) {
    return;
  }
  if (!engine.mmcssEnabled.load(std::memory_order_relaxed)) {
    thread.tries = 0;
    return;
  }
  const uint32_t now = nowInThreadUnits();
  // A clock that has come round counts as the pause's end.
  const bool due = now < thread.askedAt || now - thread.askedAt > platform::kRegistrationPause >> 10;
  if (thread.tries == 0 || (thread.tries < platform::kRegistrationTries && due)) {
    platform::RealtimeRegistration registration;
    platform::RegisterProAudio(platform::RealtimeUse::blocks, registration);
    thread.registered = registration.registered;
    thread.tries += 1;
    thread.askedAt = now;
    engine.granted.callbackValue.store(registration.value, std::memory_order_relaxed);
    engine.granted.callback.store(static_cast<int32_t>(registration.grant), std::memory_order_relaxed);
  }
}

}  // namespace tarnwick::engine
