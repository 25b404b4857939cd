// The wire between an instance's two halves, the component and its controller.
#pragma once

#include <string>

#include "plugin/plugin_instance.h"

namespace tarnwick::plugin {

// Connects the two halves, both there, to each other. True when they are connected, when there is nothing to connect,
// and when one of them offers no connection point (the instance works, its editor may not). False when a half refuses;
// then neither is connected. `path`: the module's, for the trace.
bool ConnectController(PluginInstance& instance, const std::wstring& path);

// Undoes the connection, if there is one.
void DisconnectController(PluginInstance& instance);

}  // namespace tarnwick::plugin
