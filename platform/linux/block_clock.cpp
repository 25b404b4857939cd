#include "platform/block_clock.h"

#include <cerrno>
#include <ctime>

#include "platform/clock.h"

namespace tarnwick::platform {

void SleepUntil(int64_t counterTick) noexcept {
  // The counter is CLOCK_MONOTONIC in nanoseconds (clock.cpp), which is also a clock that can be slept on.
  const int64_t frequency = CounterFrequency();
  const timespec due{.tv_sec = static_cast<time_t>(counterTick / frequency),
                     .tv_nsec = static_cast<long>(counterTick % frequency)};
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr) == EINTR) {
  }
}

}  // namespace tarnwick::platform
