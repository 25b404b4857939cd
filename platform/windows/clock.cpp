#include "platform/clock.h"

#include "platform/windows/win32.h"

namespace tarnwick::platform {

int64_t CounterNow() noexcept {
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  return now.QuadPart;
}

int64_t CounterFrequency() noexcept {
  // Fixed when the system starts; the call reads it from memory that is shared with every process.
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return frequency.QuadPart;
}

uint64_t TickMilliseconds() noexcept {
  return GetTickCount64();
}

int64_t LocalWallTime() noexcept {
  SYSTEMTIME now;
  GetLocalTime(&now);
  FILETIME time{};
  SystemTimeToFileTime(&now, &time);
  return static_cast<int64_t>((uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
}

LocalTime LocalTimeNow() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

}  // namespace tarnwick::platform
