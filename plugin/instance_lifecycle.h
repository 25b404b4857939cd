// Taking an instance apart, whatever state its making has reached.
#pragma once

#include "plugin/plugin_module.h"

namespace tarnwick::plugin {

// Closes the editor, stops processing, disconnects, ends and releases the instance's objects, in this order. What is
// missing is passed over, and a second call does nothing.
void TearDownInstance(ModuleState& state, PluginInstance& instance);

}  // namespace tarnwick::plugin
