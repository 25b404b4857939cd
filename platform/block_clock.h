// The wait between two blocks of the virtual device.
#pragma once

#include <cstdint>

namespace tarnwick::platform {

// Sleeps until CounterNow() has reached `counterTick`; returns at once when it already has. An absolute wait, so that
// being woken late or interrupted does not shift the blocks that follow. Any thread; neither allocates nor locks.
void SleepUntil(int64_t counterTick) noexcept;

}  // namespace tarnwick::platform
