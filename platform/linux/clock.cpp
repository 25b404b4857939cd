#include "platform/clock.h"

#include <ctime>

namespace tarnwick::platform {
namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kNanosecondsPerMillisecond = 1'000'000;

}  // namespace

int64_t CounterNow() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * kNanosecondsPerSecond + now.tv_nsec;
}

int64_t CounterFrequency() noexcept {
  return kNanosecondsPerSecond;
}

uint64_t TickMilliseconds() noexcept {
  return static_cast<uint64_t>(CounterNow() / kNanosecondsPerMillisecond);
}

int64_t LocalWallTime() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return (int64_t{now.tv_sec} + local.tm_gmtoff) * 10'000'000 + now.tv_nsec / 100;
}

LocalTime LocalTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  return {local.tm_year + 1900,
          local.tm_mon + 1,
          local.tm_mday,
          local.tm_hour,
          local.tm_min,
          local.tm_sec,
          static_cast<int>(now.tv_nsec / kNanosecondsPerMillisecond)};
}

}  // namespace tarnwick::platform
