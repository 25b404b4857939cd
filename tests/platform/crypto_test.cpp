#include "platform/crypto.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tarnwick::platform {
namespace {

std::span<const uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

TEST(Crypto, KnownDigestsAndTexts) {
  const std::pair<std::string, std::string> digests[] = {
      {"", "2jmj7l5rSw0yVb/vlWAYkK/YBwk="},  // FIPS 180's examples
      {"abc", "qZk+NkcGgWq6PiVxeFDCbJzQ2J0="},
      {std::string(1'000'000, 'a'), "NKqXPNTE2qT2Husr260nMWU0AW8="},
      {std::string(4'000'000, 'a'), "HaszAxQDIcqWm5fvEArhkocT3OQ="},
      {"dGhlIHNhbXBsZSBub25jZQ==258EAFA5-E914-47DA-95CA-C5AB0DC85B11", "s3pPLMBiTxaQ9kYGzzhZRbK+xOo="},  // RFC 6455
  };
  for (const auto& [text, digest] : digests) {
    EXPECT_EQ(Base64(Sha1(text)), digest) << text.size() << " bytes";
  }
  const std::pair<std::string, std::string> texts[] = {
      {"", ""},        {"f", "Zg=="},          {"fo", "Zm8="},
      {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {"\xFB\xFF", "+/8="}};  // RFC 4648
  for (const auto& [text, base64] : texts) {
    EXPECT_EQ(Base64(bytesOf(text)), base64);
  }
}

TEST(Crypto, LongBase64IsOneLineAndPaddedOnce) {
  const std::string text = Base64(std::vector<uint8_t>(7'000'000, 0xFF));
  EXPECT_EQ(text.size(), 9'333'336u);
  EXPECT_EQ(text.find_first_not_of('/'), text.size() - 3);
  EXPECT_EQ(text.substr(text.size() - 3), "w==");
}

TEST(Crypto, RandomBytesFillAllAndDiffer) {
  std::vector<uint8_t> first(4'000'000);
  std::vector<uint8_t> second(first.size());
  ASSERT_TRUE(RandomBytes(first) && RandomBytes(second));
  for (const size_t at : {size_t{0}, size_t{3'200'000}, first.size() - 32}) {
    EXPECT_FALSE(std::equal(first.begin() + static_cast<ptrdiff_t>(at), first.begin() + static_cast<ptrdiff_t>(at) + 32,
                            second.begin() + static_cast<ptrdiff_t>(at)));
  }
  EXPECT_TRUE(RandomBytes({}));
}

}  // namespace
}  // namespace tarnwick::platform
