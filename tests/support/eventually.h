// Waiting for what another thread or process does in its own time.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace tarnwick::tests {

// Whether the condition holds at one of the looks within the time. It is not asked again once it has held: what is
// looked at may go on changing.
inline bool Eventually(const std::function<bool()>& holds, std::chrono::milliseconds time = std::chrono::seconds(10)) {
  const auto end = std::chrono::steady_clock::now() + time;
  do {
    if (holds()) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  } while (std::chrono::steady_clock::now() < end);
  return false;
}

}  // namespace tarnwick::tests
