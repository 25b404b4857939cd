// Where drivers enter: each call lands here on a thread of the driver's own.
#include "engine/engine_callbacks.h"

#include "engine/callback.h"

namespace tarnwick::engine {
namespace {

bool bufferSwitch(void* context, int32_t index, bool directProcess) {
  return BufferSwitch(*static_cast<Engine*>(context), index, directProcess);
}

void* bufferSwitchTimeInfo(void* context, void* /*timeInfo*/, int32_t index, bool directProcess) {
  BufferSwitch(*static_cast<Engine*>(context), index, directProcess);
  return nullptr;
}

// A driver is taken at its word, also above kHighestSampleRate: the meters then average over less than a tenth of a
// second, as much as their storage holds.
void sampleRateDidChange(void* context, double rate) {
  auto& engine = *static_cast<Engine*>(context);
  if (rate > 1.0) {
    engine.session.sampleRate.store(rate, std::memory_order_relaxed);
    engine.metersStale.store(true);
  }
}

int32_t asioMessage(void* context, int32_t selector, int32_t /*value*/) {
  switch (selector) {
    case platform::kAsioSelectorSupported:
    case platform::kAsioResetRequest:  // acknowledged, not acted on
    case platform::kAsioResyncRequest:
      return 1;
    case platform::kAsioEngineVersion:
      return 2;
    case platform::kAsioLatenciesChanged: {
      auto& engine = *static_cast<Engine*>(context);
      if (engine.postLatenciesChanged) {
        engine.postLatenciesChanged();
      }
      return 1;
    }
    default:
      return 0;
  }
}

}  // namespace

platform::AudioCallbacks EngineCallbacks(Engine& engine) {
  return {&engine, &bufferSwitch, &sampleRateDidChange, &asioMessage, &bufferSwitchTimeInfo};
}

}  // namespace tarnwick::engine
