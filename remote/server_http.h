// Plain HTTP connections.
#pragma once

#include "remote/server_state.h"

namespace tarnwick::remote {

// Serves one accepted connection; returns when it is closed or has a session. Accept thread.
void HandleConnection(ServerState& server, platform::Socket socket);

}  // namespace tarnwick::remote
