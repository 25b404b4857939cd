// The driver's thread as the callback sets it up: processors, float mode, priority, real-time registration. Each is
// asked for once and again when its setting changes. Called on that thread only; real-time safe.
#pragma once

#include <cstdint>

#include "engine/engine.h"
#include "system/cpu_steering.h"

namespace tarnwick::engine {

// Per-thread state of the callback, kept from block to block in the thread's word. A registration is never undone, as
// nobody tells of the end of a driver's thread.
struct AudioThread {
  system::ThreadSteering steering;
  int32_t priorityIndex = -1;
  bool floatModeSet = false;
  bool registered = false;
  uint32_t tries = 0;    // registrations asked for in vain, 3 bits
  uint32_t askedAt = 0;  // time of the last of them, in units of 2^10 ms, 19 bits
};

// The calling thread's state as it was last kept.
AudioThread ThisAudioThread() noexcept;
void KeepAudioThread(const AudioThread& thread) noexcept;

// Denormals are zero on this thread from now on.
void SetFloatMode(AudioThread& thread) noexcept;
// Follow the two settings; what was granted goes to engine.granted.
void ApplyPriority(Engine& engine, AudioThread& thread) noexcept;
void RegisterForRealtime(Engine& engine, AudioThread& thread) noexcept;

}  // namespace tarnwick::engine
