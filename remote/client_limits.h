// Limits of the time that the server gives a client.
#pragma once

#include <chrono>
#include <cstddef>

namespace tarnwick::remote {

struct ClientLimits {
  // Longest time in which nothing of a request comes, or nothing is taken of what is sent.
  std::chrono::milliseconds pause{2000};
  // Longest time for a request's head; for an HTTP answer the time before the client's speed counts.
  std::chrono::milliseconds exchange{10'000};
  // Longest wait for a body, which nobody reads: closing over unread bytes makes the system throw the answer away.
  std::chrono::milliseconds body{250};
  // Longest time until a WebSocket frame is taken, not counting the time that a slow but steady link needs for it and
  // all before it. A client that always takes a little, but less than such a link carries, would otherwise keep its
  // place for ever and see older and older states.
  std::chrono::milliseconds frame{5000};
};

// The time in which so many bytes pass a link of 16 KB/s, the slowest that is waited for.
constexpr std::chrono::milliseconds TimeOnSlowLink(size_t bytes) {
  constexpr size_t kBytesPerMillisecond = 16;
  return std::chrono::milliseconds(bytes / kBytesPerMillisecond);
}

}  // namespace tarnwick::remote
