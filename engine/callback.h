// One audio block, and the report of how long blocks take.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/engine.h"

namespace tarnwick::engine {

// Processes one block of half `half` (0 or 1). Called by the driver on its own thread. Never allocates, frees, logs,
// waits or throws; the one lock is that of the pool pointer while it is copied. False: the block was let pass and its
// outputs are as they were.
bool BufferSwitch(Engine& engine, int32_t half, bool directProcess) noexcept;

// The line for the status log, at most once in ten seconds while the host runs. `nowMilliseconds` is the platform's
// millisecond tick. Any thread but the callback's; of several callers one gets the line.
std::optional<std::wstring> TimingReport(Engine& engine, uint64_t nowMilliseconds);

}  // namespace tarnwick::engine
