// What the remote control server is told of the program's state. User-interface thread.
#pragma once

#include "app/application.h"
#include "remote/records.h"

namespace tarnwick::app {

// Everything but the processors' usage, which the server samples itself.
void FillRemoteStatus(Application& app, remote::RemoteStatusSnapshot& status);

}  // namespace tarnwick::app
