// The summary that ends a run with --seconds.
#pragma once

#include <string>

#include "engine/engine.h"

namespace tarnwick::app {

// The run so far as one JSON object: blocks, skippedBlocks, averageMs and maximumMs (of a callback while the host ran),
// instances, outputs (peakDb and rmsDb of each since the host started; -180 is silence; at most 128) and glitches (the
// count of each instance). To be taken while no block processes instances.
std::string SummaryJson(engine::Engine& engine);

}  // namespace tarnwick::app
