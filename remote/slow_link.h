// How slow a link may be.
#pragma once

#include <chrono>
#include <cstddef>

namespace tarnwick::remote {

// The time in which so many bytes pass a link of 16 KB/s, the slowest that is waited for.
constexpr std::chrono::milliseconds TimeOnSlowLink(size_t bytes) {
  constexpr size_t kBytesPerMillisecond = 16;
  return std::chrono::milliseconds(bytes / kBytesPerMillisecond);
}

}  // namespace tarnwick::remote
