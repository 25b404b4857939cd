#include "platform/network.h"

namespace tarnwick::platform {

std::string Ipv4Text(uint32_t address) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += std::to_string((address >> shift) & 0xFF);
    text += shift > 0 ? "." : "";
  }
  return text;
}

}  // namespace tarnwick::platform
