#include "engine/engine.h"

#include <chrono>
#include <thread>

#include "engine/callback.h"
#include "engine/pool_control.h"
#include "platform/clock.h"

namespace tarnwick::engine {

Engine::Engine(const system::CpuSteering& cpuSteering) : steering(cpuSteering), outputTotals(kMeteredChannels) {}

Engine::~Engine() {
  CloseSession(session);
  ReleasePool(*this, TakePool(*this));
  while (pendingReleases.load() > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void ResetTiming(Engine& engine) {
  engine.granted.callback.store(-1);  // the device's thread is a new one
  EngineCounters& counters = engine.counters;
  for (std::atomic<uint64_t>* counter : {&counters.timedTicks, &counters.timedCount, &counters.maxTicks}) {
    counter->store(0);
  }
  counters.lastReportTick.store(platform::TickMilliseconds());
}

}  // namespace tarnwick::engine
