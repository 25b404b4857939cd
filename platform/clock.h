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

// Local wall-clock time in parts: month 1..12, day 1..31, second up to 60.
struct LocalTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};
// Not real-time safe.
LocalTime LocalTimeNow();

// The time of day as "HH:MM:SS.mmm".
std::wstring TimeOfDayText(const LocalTime& time);

}  // namespace tarnwick::platform
