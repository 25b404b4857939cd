// The settings of one instance, with the gains derived from them.
#pragma once

#include <cstdint>

namespace tarnwick::engine {

inline constexpr int32_t kMaximumInstances = 127;
inline constexpr int32_t kMinimumGainDb = -60;
inline constexpr int32_t kMaximumGainDb = 24;

// The user-interface thread writes the fields of a shared record through StoreConfig, one word each; the audio path
// reads them word by word and never the dB values.
struct InstanceConfig {
  int32_t inputChannel = -1;   // device input, from 0; -1 = none
  int32_t outputChannel = -1;  // device output, from 0; -1 = none
  uint8_t testSignalEnabled = 0;
  uint8_t bypassEnabled = 0;
  int32_t inputGainDb = 0;  // whole dB, kMinimumGainDb..kMaximumGainDb
  int32_t outputGainDb = 0;
  float inputGain = 1.0f;  // linear factors of the two
  float outputGain = 1.0f;
};

int32_t ClampGainDb(int64_t db) noexcept;
// 10^(db / 20) in single precision.
float LinearGain(int32_t db) noexcept;
// Clamps the dB values and derives the factors from them.
void DeriveGains(InstanceConfig& config) noexcept;

// Copies a record word by word into or out of one that the audio path reads. Real-time safe.
void StoreConfig(InstanceConfig& shared, const InstanceConfig& config) noexcept;

}  // namespace tarnwick::engine
