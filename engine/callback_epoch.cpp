#include "engine/callback_epoch.h"

#include <chrono>
#include <thread>

namespace tarnwick::engine {

void AwaitCallbackIdle(const CallbackEpoch& epoch) {
  while (!AwaitCallbackIdle(epoch, std::chrono::hours(1))) {
  }
}

bool AwaitCallbackIdle(const CallbackEpoch& epoch, std::chrono::milliseconds limit) {
  const uint64_t before = epoch.blocksLeft();
  const auto end = std::chrono::steady_clock::now() + limit;
  while (epoch.inside() && epoch.blocksLeft() == before) {
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace tarnwick::engine
