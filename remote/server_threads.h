// The accept, beacon and push threads. No exception leaves them.
#pragma once

#include "remote/server_state.h"

namespace tarnwick::remote {

void AcceptLoop(ServerState& server);
void BeaconLoop(ServerState& server);
void PushLoop(ServerState& server);

}  // namespace tarnwick::remote
