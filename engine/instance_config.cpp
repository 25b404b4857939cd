#include "engine/instance_config.h"

#include <algorithm>
#include <cmath>

#include "engine/atomic_word.h"

namespace tarnwick::engine {

int32_t ClampGainDb(int64_t db) noexcept {
  return static_cast<int32_t>(std::clamp<int64_t>(db, kMinimumGainDb, kMaximumGainDb));
}

float LinearGain(int32_t db) noexcept {
  return std::pow(10.0f, static_cast<float>(db) / 20.0f);
}

void DeriveGains(InstanceConfig& config) noexcept {
  config.inputGainDb = ClampGainDb(config.inputGainDb);
  config.outputGainDb = ClampGainDb(config.outputGainDb);
  config.inputGain = LinearGain(config.inputGainDb);
  config.outputGain = LinearGain(config.outputGainDb);
}

void StoreConfig(InstanceConfig& shared, const InstanceConfig& config) noexcept {
  StoreWord(shared.inputChannel, config.inputChannel);
  StoreWord(shared.outputChannel, config.outputChannel);
  StoreWord(shared.testSignalEnabled, config.testSignalEnabled);
  StoreWord(shared.bypassEnabled, config.bypassEnabled);
  StoreWord(shared.inputGainDb, config.inputGainDb);
  StoreWord(shared.outputGainDb, config.outputGainDb);
  StoreWord(shared.inputGain, config.inputGain);
  StoreWord(shared.outputGain, config.outputGain);
}

}  // namespace tarnwick::engine
