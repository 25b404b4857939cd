#include "remote/websocket_handshake.h"

#include "platform/crypto.h"

namespace tarnwick::remote {

std::string HandshakeAnswer(std::string_view key) {
  // RFC 6455, section 4.2.2.
  constexpr std::string_view kGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  const std::string accept = platform::Base64(platform::Sha1(std::string(key).append(kGuid)));
  return "HTTP/1.1 101 Switching Protocols\r\n"
         "Upgrade: websocket\r\n"
         "Connection: Upgrade\r\n"
         "Sec-WebSocket-Accept: " +
         accept + "\r\n\r\n";
}

}  // namespace tarnwick::remote
