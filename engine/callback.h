// One audio block.
#pragma once

#include <cstdint>

#include "engine/engine.h"

namespace tarnwick::engine {

// Processes one block of half `half` (0 or 1). Called by the driver on its own thread. Never allocates, frees, logs,
// waits or throws; the one lock is that of the pool pointer while it is copied. False: the block was let pass and its
// outputs are as they were.
bool BufferSwitch(Engine& engine, int32_t half, bool directProcess) noexcept;

}  // namespace tarnwick::engine
