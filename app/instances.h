// Requests about instances. User-interface thread.
#pragma once

#include <cstdint>

#include "app/application.h"

namespace tarnwick::app {

// Adds instances until there are `count`, each wired from the input to the output of its own number.
void AddWiredInstances(Application& app, int32_t count);
// Says in the log which instances are wired to channels that the open device does not have.
void TellMissingChannels(Application& app);

}  // namespace tarnwick::app
