// The opening handshake of RFC 6455, without protocols and extensions. Pure; any thread.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::remote {

// The bytes that answer a client's "Sec-WebSocket-Key".
std::string HandshakeAnswer(std::string_view key);

}  // namespace tarnwick::remote
