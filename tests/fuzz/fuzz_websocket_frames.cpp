// A client's bytes on the channel: frame after frame until one is refused. Aborts when a frame has more than the
// bytes that arrived, or when our own frame around it does not hold it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "remote/websocket_frames.h"

using namespace tarnwick::remote;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view left(reinterpret_cast<const char*>(data), size);
  const ByteSource source = [&left](std::span<char> bytes) {
    if (bytes.size() > left.size()) {
      return false;
    }
    std::memcpy(bytes.data(), left.data(), bytes.size());
    left.remove_prefix(bytes.size());
    return true;
  };
  Frame frame;
  for (size_t before = left.size(); ReadFrame(source, frame); before = left.size()) {
    const size_t used = before - left.size();
    if (used < frame.payload.size() + 6 || used > frame.payload.size() + 14 || frame.opcode > 15 ||
        frame.opcode == kCloseOpcode || !TextFrame(frame.payload).ends_with(frame.payload)) {
      std::abort();
    }
  }
  return 0;
}
