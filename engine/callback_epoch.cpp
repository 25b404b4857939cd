#include "engine/callback_epoch.h"

#include <chrono>
#include <thread>

namespace tarnwick::engine {

void AwaitCallbackIdle(const CallbackEpoch& epoch) {
  const uint64_t before = epoch.blocksLeft();
  while (epoch.inside() && epoch.blocksLeft() == before) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace tarnwick::engine
