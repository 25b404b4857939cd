// The bytes of one plain HTTP connection. The calling thread serves one after the other, so every step has a limit in
// time, and ends early when `running` turns false.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "platform/socket.h"
#include "remote/client_limits.h"

namespace tarnwick::remote {

// Reads until the head is complete; never waits on a socket that does not block by itself. Nothing when the client
// closes, pauses for too long or takes too long in all.
std::optional<std::string> ReceiveHead(platform::Socket& socket, const std::atomic<bool>& running,
                                       const ClientLimits& limits);

// Sends a whole answer to the request of which `received` are the bytes so far. Given up when the client takes nothing
// for the longest pause, or after the longest exchange has taken less than a slow link carries since. Then the rest of
// the client's request is taken and thrown away, for a short time.
void SendAnswer(platform::Socket& socket, std::string_view answer, std::string_view received,
                const std::atomic<bool>& running, const ClientLimits& limits);

}  // namespace tarnwick::remote
