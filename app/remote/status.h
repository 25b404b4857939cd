// The program's state as the remote control server gets it. User-interface thread.
#pragma once

#include "app/application.h"
#include "remote/records.h"

namespace tarnwick::app {

// Everything but the processors' usage, which the server samples itself.
void FillRemoteStatus(Application& app, remote::RemoteStatusSnapshot& status);

}  // namespace tarnwick::app
