// Random bytes, SHA-1 and base64 from the system. Any thread.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tarnwick::platform {

// Fills `bytes` from the cryptographic random generator; false when the system fails, the bytes are then not usable.
bool RandomBytes(std::span<uint8_t> bytes);
// SHA-1 (FIPS 180-4); all zero when the system has none.
std::array<uint8_t, 20> Sha1(std::string_view bytes);
// Standard base64 with padding, without line breaks (RFC 4648, section 4).
std::string Base64(std::span<const uint8_t> bytes);

}  // namespace tarnwick::platform
