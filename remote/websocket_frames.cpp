#include "remote/websocket_frames.h"

#include <algorithm>
#include <array>

namespace tarnwick::remote {
namespace {

constexpr uint8_t kFinal = 0x80;
constexpr uint8_t kMasked = 0x80;
constexpr uint8_t kLength16 = 126;
constexpr uint8_t kLength64 = 127;
constexpr size_t kPayloadStep = size_t{64} << 10;

// `count` bytes, most significant first.
bool readNumber(const ByteSource& source, size_t count, uint64_t& number) {
  std::array<char, 8> bytes{};
  if (!source(std::span(bytes).first(count))) {
    return false;
  }
  number = 0;
  for (size_t k = 0; k < count; ++k) {
    number = number << 8 | static_cast<uint8_t>(bytes[k]);
  }
  return true;
}

void appendNumber(std::string& out, size_t count, uint64_t number) {
  for (size_t k = count; k > 0; --k) {
    out.push_back(static_cast<char>(number >> (8 * (k - 1)) & 0xFF));
  }
}

bool readPayload(const ByteSource& source, uint64_t length, std::string& payload) {
  payload.clear();
  while (payload.size() < length) {
    const size_t have = payload.size();
    const size_t step = std::min(kPayloadStep, static_cast<size_t>(length) - have);
    payload.resize(have + step);
    if (!source(std::span(payload).subspan(have))) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool ReadFrame(const ByteSource& source, Frame& frame) {
  std::array<char, 2> start{};
  if (!source(start)) {
    return false;
  }
  frame.opcode = static_cast<uint8_t>(start[0]) & 0x0F;
  const auto second = static_cast<uint8_t>(start[1]);
  uint64_t length = second & 0x7F;
  if ((second & kMasked) == 0) {
    return false;
  }
  if (length >= kLength16 && !readNumber(source, length == kLength16 ? 2 : 8, length)) {
    return false;
  }
  std::array<char, 4> key{};
  if (length > kMostPayloadBytes || !source(key) || !readPayload(source, length, frame.payload)) {
    return false;
  }
  for (size_t k = 0; k < frame.payload.size(); ++k) {
    frame.payload[k] = static_cast<char>(frame.payload[k] ^ key[k % key.size()]);
  }
  return frame.opcode != kCloseOpcode;
}

std::string TextFrame(std::string_view text) {
  constexpr size_t kLongestHeader = 10;
  std::string frame;
  frame.reserve(kLongestHeader + text.size());
  frame.push_back(static_cast<char>(kFinal | kTextOpcode));
  if (text.size() < kLength16) {
    appendNumber(frame, 1, text.size());
  } else if (text.size() <= 0xFFFF) {
    appendNumber(frame, 1, kLength16);
    appendNumber(frame, 2, text.size());
  } else {
    appendNumber(frame, 1, kLength64);
    appendNumber(frame, 8, text.size());
  }
  return frame.append(text);
}

std::string ControlFrame(uint8_t opcode) {
  return {static_cast<char>(kFinal | opcode), '\0'};
}

}  // namespace tarnwick::remote
