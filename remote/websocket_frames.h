// WebSocket frames (RFC 6455, section 5), as far as the channel uses them: every frame stands for itself, also a
// fragment. Any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace tarnwick::remote {

inline constexpr uint8_t kTextOpcode = 1;
inline constexpr uint8_t kCloseOpcode = 8;
inline constexpr uint8_t kPingOpcode = 9;
inline constexpr uint8_t kPongOpcode = 10;

inline constexpr uint64_t kMostPayloadBytes = uint64_t{64} << 20;

struct Frame {
  uint8_t opcode = 0;
  std::string payload;  // unmasked
};

// Fills all of `bytes`, or fails for good.
using ByteSource = std::function<bool(std::span<char> bytes)>;

// The next frame of a client. False ends the connection: a close frame, an unmasked one, one that is too long, or a
// source that failed. Memory grows with the bytes that arrive, whatever length the frame claims.
bool ReadFrame(const ByteSource& source, Frame& frame);

// The server's own frames: unmasked, one a message.
std::string TextFrame(std::string_view text);
std::string ControlFrame(uint8_t opcode);  // without data

}  // namespace tarnwick::remote
