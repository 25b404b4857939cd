#include "platform/crypto.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarnwick::platform {
namespace {

TEST(Crypto, KnownDigestAndTexts) {
  // The handshake of RFC 6455.
  EXPECT_EQ(Base64(Sha1("dGhlIHNhbXBsZSBub25jZQ==258EAFA5-E914-47DA-95CA-C5AB0DC85B11")),
            "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
  const std::pair<std::vector<uint8_t>, std::string> texts[] = {
      {{}, ""}, {{'f'}, "Zg=="}, {{'f', 'o', 'o'}, "Zm9v"}, {{0xFB, 0xFF}, "+/8="}};  // RFC 4648
  for (const auto& [bytes, base64] : texts) {
    EXPECT_EQ(Base64(bytes), base64);
  }
  const std::string padding = Base64(std::vector<uint8_t>(512, 0xFF));
  EXPECT_EQ(padding, std::string(682, '/') + "8=") << "one line";
}

TEST(Crypto, RandomBytesDiffer) {
  std::vector<uint8_t> first(512);
  std::vector<uint8_t> second(first.size());
  ASSERT_TRUE(RandomBytes(first) && RandomBytes(second));
  EXPECT_NE(std::vector<uint8_t>(first.begin(), first.begin() + 16),
            std::vector<uint8_t>(second.begin(), second.begin() + 16));
  EXPECT_NE(std::vector<uint8_t>(first.end() - 16, first.end()), std::vector<uint8_t>(second.end() - 16, second.end()));
}

}  // namespace
}  // namespace tarnwick::platform
