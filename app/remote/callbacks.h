// Callbacks of the remote control server, called on threads of its own: each callback carries its request to the
// user-interface thread.
#pragma once

#include "app/application.h"
#include "remote/callbacks.h"

namespace tarnwick::app {

// The callbacks for an application. They may be called on any thread until the application's thread has closed and the
// server has stopped.
remote::RemoteControlCallbacks MakeRemoteCallbacks(Application& app);

}  // namespace tarnwick::app
