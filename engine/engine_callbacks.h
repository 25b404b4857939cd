// The record that a driver gets to call the engine with.
#pragma once

#include "engine/engine.h"

namespace tarnwick::engine {

// Valid as long as `engine` is; its functions are called on the driver's threads.
platform::AudioCallbacks EngineCallbacks(Engine& engine);

}  // namespace tarnwick::engine
