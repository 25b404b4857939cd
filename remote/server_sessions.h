// WebSocket sessions: how one begins and ends.
#pragma once

#include <string>

#include "remote/server_state.h"

namespace tarnwick::remote {

// Makes the connection a WebSocket client with a session: the answer to the handshake, the state, then its place in the
// list and its thread. Accept thread. `received` came after the request.
void StartSession(ServerState& server, platform::Socket socket, const std::string& handshakeAnswer,
                  std::string received);
// True while as many sessions run as may.
bool SessionsFull(ServerState& server);
// Joins the sessions that have ended. Accept thread.
void ReapSessions(ServerState& server);

}  // namespace tarnwick::remote
