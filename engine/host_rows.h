// The rows of the instance host: adding, removing and changing instances, also while they run, and their readings.
// User-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "engine/host.h"

namespace tarnwick::engine {

// Adds a row; while the host runs its effect is created and the instance is heard from the next block on. False when
// there are 127 already or the effect cannot be created (nothing is added then).
bool AddInstance(Host& host, const InstanceRow& row, std::wstring* error);
// Removes row `index`; while the host runs the others play on without a gap. False when there is no such row, or a stop
// is under way.
bool RemoveInstance(Host& host, int32_t index, std::wstring* error);
// Takes over changed settings of a row; the audio path sees them at its next block. False when there is no such row.
bool ConfigureInstance(Host& host, int32_t index, const InstanceConfig& config);
// Bypasses all instances, or returns each to its row's own choice.
void SetBypassAll(Host& host, bool enabled);
// Sets a row's first parameter, 0..100 percent (clamped), and the running effect's. False when there is no such row or
// the running effect refuses; nothing has changed then.
bool SetFirstParamPercent(Host& host, int32_t index, int32_t percent);

// A row's level and its dropouts; -100 dB and 0 for a row that does not run.
float InstanceMeterDb(const Host& host, int32_t index);
uint64_t InstanceGlitchCount(const Host& host, int32_t index);
// Level of the device output that the row's instance is added to, by the same formula; -100 dB without one.
float InstanceOutputDb(const Host& host, int32_t index);

// For the start of the host.

// The text of a failure to create the effect of instance `number`, counted from 1.
std::wstring CreateFailure(size_t number);
// Makes `effect` the last instance of the audio path, with the row's settings and first parameter. Throws
// std::bad_alloc; nothing is published then.
void PublishRow(Host& host, InstanceRow& row, plugin::PluginInstance& effect);

}  // namespace tarnwick::engine
