#include "platform/crypto.h"

#include <openssl/evp.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>

namespace tarnwick::platform {

bool RandomBytes(std::span<uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t got = getrandom(bytes.data(), bytes.size(), 0);
    if (got > 0) {
      bytes = bytes.subspan(static_cast<size_t>(got));
    } else if (got == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::array<uint8_t, 20> Sha1(std::string_view bytes) {
  std::array<uint8_t, 20> digest{};
  unsigned size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha1(), nullptr) != 1) {
    digest.fill(0);
  }
  return digest;
}

std::string Base64(std::span<const uint8_t> bytes) {
  // In pieces, since a length is an int there; each but the last in whole groups of three, so that only the last one is
  // padded.
  constexpr size_t kPiece = size_t{3} << 20;
  std::string text;
  while (!bytes.empty()) {
    const std::span<const uint8_t> piece = bytes.first(std::min(bytes.size(), kPiece));
    bytes = bytes.subspan(piece.size());
    std::string encoded((piece.size() + 2) / 3 * 4 + 1, '\0');  // and the zero that ends it
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), piece.data(), static_cast<int>(piece.size()));
    text.append(encoded, 0, static_cast<size_t>(std::max(0, length)));
  }
  return text;
}

}  // namespace tarnwick::platform
