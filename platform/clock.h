// Clocks. All functions: any thread, real-time safe.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick::platform {

// High-resolution counter, monotonic, in ticks.
int64_t CounterNow() noexcept;
// Ticks a second; constant and positive.
int64_t CounterFrequency() noexcept;
// Milliseconds since some fixed point, monotonic.
uint64_t TickMilliseconds() noexcept;

// Local wall-clock time in units of 100 ns since a midnight long ago; every day of it has 24 hours.
int64_t LocalWallTime() noexcept;

// Local wall-clock time as "HH:MM:SS.mmm". Not real-time safe.
std::wstring LocalTimeText();

}  // namespace tarnwick::platform
