// Making an instance of the chosen effect class, and taking one apart again. User-interface thread; no exception leaves
// these functions.
#pragma once

#include <cstdint>
#include <memory>

#include "plugin/plugin_module.h"

namespace tarnwick::plugin {

// A new, active instance of the chosen class at `sampleRate` Hz (1.0 or less means 48000) for blocks of at most
// `maxBlock` samples (below 1 means 256); null on failure, with nothing left behind. Not yet in state.instances.
std::unique_ptr<PluginInstance> CreateInstance(ModuleState& state, double sampleRate, int32_t maxBlock);

// Tears an instance down and frees it. No ProcessBlock of it may be running or still to come.
void DestroyInstance(ModuleState& state, std::unique_ptr<PluginInstance> instance);

}  // namespace tarnwick::plugin
