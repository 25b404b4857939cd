// The signal chain of one instance over one block, and the loops over device channels around it. Everything here is
// real-time safe and runs on the callback or on a worker.
#pragma once

#include <cstdint>

#include "engine/engine.h"

namespace tarnwick::engine {

// One instance, one block of `n` samples of half `half`: source, input gain, meter, effect or pass-through, output
// gain. Reads the device inputs, writes only the slot's own buffers, meter and effect.
void ProcessInstance(Engine& engine, InstanceSlot& slot, int32_t half, int32_t n) noexcept;

// Adds the instance's output buffer into its output channel, if it has one.
void SumInstance(Engine& engine, const InstanceSlot& slot, int32_t half, int32_t n) noexcept;

void ClearOutputs(Engine& engine, int32_t half, int32_t n) noexcept;

// Feed the channel meters of the first kMeteredChannels channels while metering is on; `intoTotals` adds the outputs to
// the totals since the host started as well, where these are wanted.
void FeedInputMeters(Engine& engine, int32_t half, int32_t n) noexcept;
void FeedOutputMeters(Engine& engine, int32_t half, int32_t n, bool intoTotals) noexcept;

// Stores each instance's output channel of this block in its detector and evaluates it. `now` in counter ticks.
void DetectGlitches(Engine& engine, const InstanceOrder& order, int32_t half, int32_t n, int64_t now) noexcept;

}  // namespace tarnwick::engine
