#include "platform/clock.h"

#include <cwchar>

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

std::wstring LocalTimeText() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  wchar_t text[32];
  std::swprintf(text, std::size(text), L"%02u:%02u:%02u.%03u", unsigned{now.wHour}, unsigned{now.wMinute},
                unsigned{now.wSecond}, unsigned{now.wMilliseconds});
  return text;
}

}  // namespace tarnwick::platform
