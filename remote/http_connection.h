// The bytes of one plain HTTP connection. The calling thread serves one after the other, so every step has a limit in
// time, and ends early when `running` turns false.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/socket.h"

namespace tarnwick::remote {

// Reads until the head is complete; never waits on a socket that does not block by itself. Nothing when the client
// closes, sends nothing for 2 s or is not done after 10 s.
std::optional<std::string> ReceiveHead(platform::Socket& socket, const std::atomic<bool>& running);

// How long a client may take over an answer before its speed counts.
inline constexpr std::chrono::milliseconds kAnswerGrace{10'000};

// Sends a whole answer to the request of which `received` are the bytes so far. Given up when the client takes nothing
// for 2 s, or after `grace` has taken less than a link of 16 KB/s carries since. Then what the client still sends is
// taken and thrown away, for a short time: closing over unread bytes would make the system throw the answer away.
void SendAnswer(platform::Socket& socket, std::string_view answer, std::string_view received,
                const std::atomic<bool>& running, std::chrono::milliseconds grace = kAnswerGrace);

}  // namespace tarnwick::remote
