#include "engine/engine.h"

#include <chrono>
#include <thread>

#include "engine/pool_control.h"

namespace tarnwick::engine {

Engine::Engine(const system::CpuSteering& cpuSteering) : steering(cpuSteering), outputTotals(kMeteredChannels) {}

Engine::~Engine() {
  CloseSession(session);
  ReleasePool(*this, TakePool(*this));
  while (pendingReleases.load() > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace tarnwick::engine
