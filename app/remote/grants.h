// The remote control server's view of what the system granted. User-interface thread.
#pragma once

#include "app/application.h"
#include "remote/records.h"

namespace tarnwick::app {

// The processors of the work groups, and the priorities of the audio threads once they have asked for one.
void FillRemoteGrants(const Application& app, remote::RemoteGrants& grants);

}  // namespace tarnwick::app
