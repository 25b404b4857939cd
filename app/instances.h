// Requests about instances. User-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "app/application.h"

namespace tarnwick::app {

// Adds instances until there are `count`, each wired from the input to the output of its own number.
void AddWiredInstances(Application& app, int32_t count);
// Adds one after the last, wired from the input to the output of its own number, whether the device has these or not:
// an instance without channels would keep the host from its next start.
bool AddNextInstance(Application& app, std::wstring* error);
bool RemoveLastInstance(Application& app, std::wstring* error);
// Says in the log which instances are wired to channels that the open device does not have.
void TellMissingChannels(Application& app);

}  // namespace tarnwick::app
