#include "platform/crypto.h"

#include "platform/windows/win32.h"

// Both need the types of the header above.
#include <bcrypt.h>
#include <wincrypt.h>

#include <algorithm>
#include <memory>

namespace tarnwick::platform {
namespace {

// In pieces, since a length has 32 bits there. A multiple of three, so that only the last piece of base64 is padded.
constexpr size_t kPiece = size_t{3} << 20;

struct AlgorithmCloser {
  void operator()(void* algorithm) const { BCryptCloseAlgorithmProvider(algorithm, 0); }
};
struct HashCloser {
  void operator()(void* hash) const { BCryptDestroyHash(hash); }
};

bool hash(LPCWSTR name, std::string_view bytes, std::span<uint8_t> digest) {
  BCRYPT_ALG_HANDLE rawAlgorithm = nullptr;
  if (BCryptOpenAlgorithmProvider(&rawAlgorithm, name, nullptr, 0) < 0) {
    return false;
  }
  const std::unique_ptr<void, AlgorithmCloser> algorithm(rawAlgorithm);
  BCRYPT_HASH_HANDLE rawHash = nullptr;
  if (BCryptCreateHash(rawAlgorithm, &rawHash, nullptr, 0, nullptr, 0, 0) < 0) {
    return false;
  }
  const std::unique_ptr<void, HashCloser> hash(rawHash);
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, kPiece);
    bytes.remove_prefix(piece.size());
    // It only reads; its declaration does not say so.
    auto* data = const_cast<UCHAR*>(reinterpret_cast<const UCHAR*>(piece.data()));
    if (BCryptHashData(rawHash, data, static_cast<ULONG>(piece.size()), 0) < 0) {
      return false;
    }
  }
  return BCryptFinishHash(rawHash, digest.data(), static_cast<ULONG>(digest.size()), 0) >= 0;
}

}  // namespace

bool RandomBytes(std::span<uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::span<uint8_t> piece = bytes.first(std::min(bytes.size(), kPiece));
    bytes = bytes.subspan(piece.size());
    if (BCryptGenRandom(nullptr, piece.data(), static_cast<ULONG>(piece.size()), BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
      return false;
    }
  }
  return true;
}

std::array<uint8_t, 20> Sha1(std::string_view bytes) {
  std::array<uint8_t, 20> digest{};
  if (!hash(BCRYPT_SHA1_ALGORITHM, bytes, digest)) {
    digest.fill(0);
  }
  return digest;
}

std::string Base64(std::span<const uint8_t> bytes) {
  constexpr DWORD kFlags = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
  std::string text;
  while (!bytes.empty()) {
    const std::span<const uint8_t> piece = bytes.first(std::min(bytes.size(), kPiece));
    bytes = bytes.subspan(piece.size());
    std::string encoded((piece.size() + 2) / 3 * 4 + 1, '\0');  // and the zero that ends it
    auto length = static_cast<DWORD>(encoded.size());
    if (CryptBinaryToStringA(piece.data(), static_cast<DWORD>(piece.size()), kFlags, encoded.data(), &length) !=
        FALSE) {
      text.append(encoded, 0, length);
    }
  }
  return text;
}

}  // namespace tarnwick::platform
