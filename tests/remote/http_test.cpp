#include <gtest/gtest.h>

#include "remote/http_head.h"
#include "remote/http_origin.h"
#include "remote/http_query.h"

namespace tarnwick::remote {
namespace {

TEST(HttpHead, Fields) {
  const std::string raw =
      "GET Host: /none HTTP/1.1\r\nhOST:\t venue \t\r\nHost: second\r\n folded: x\r\nEmpty:\r\nnocolon\r\n"
      "Connection: keep-alive, Upgrade\r\nConnection: TE\r\n\r\nAfter: body\r\n\r\n";
  EXPECT_EQ(HeaderField(raw, "Host"), "venue");
  EXPECT_EQ(HeaderField(raw, "Empty"), "");
  EXPECT_EQ(HeaderField(raw, "folded"), std::nullopt);
  EXPECT_EQ(HeaderField(raw, "After"), std::nullopt);
  EXPECT_TRUE(FieldContains(raw, "connection", "upgrade"));
  EXPECT_TRUE(FieldContains(raw, "connection", "te"));
  EXPECT_FALSE(FieldContains(raw, "connection", "close"));
  EXPECT_EQ(BytesAfterHead(raw), "After: body\r\n\r\n");
}

TEST(HttpQuery, Decoding) {
  const std::pair<std::string, std::string> cases[] = {{"a+b%20%2B", "a b +"},
                                                       {"%c3%A9", "\xC3\xA9"},
                                                       {"%00", std::string(1, '\0')},
                                                       {"%", "%"},
                                                       {"%4", "%4"},
                                                       {"%4g%41", "%4gA"},
                                                       {"%%41", "%A"},
                                                       {"%-1", "%-1"}};
  for (const auto& [text, decoded] : cases) {
    EXPECT_EQ(DecodeQueryText(text), decoded) << text;
  }
}

TEST(HttpQuery, Targets) {
  const struct {
    std::string target, path;
    QueryParameters query;
  } cases[] = {
      {"/a%20b?", "/a%20b", {}},
      {"/a?x=1=2&x=3?4&flag&&=v", "/a", {{"x", "3?4"}, {"flag", ""}, {"", "v"}}},
      {"?%78+=%26", "", {{"x ", "&"}}},
  };
  for (const auto& c : cases) {
    const SplitTarget split = ParseTarget(c.target);
    EXPECT_EQ(split.path, c.path) << c.target;
    EXPECT_EQ(split.query, c.query) << c.target;
  }
}

TEST(HttpOrigin, OnlyOurOwnPages) {
  using Field = std::optional<std::string_view>;
  constexpr std::string_view kSame = "the same";
  const struct {
    Field host, origin;
    bool own;
  } cases[] = {
      {{}, "http://evil.example", true},
      {"", "http://evil.example", true},
      {"evil.example", {}, true},  // a script, not a browser: whatever the name it knows us by
      {"192.168.1.7:20831", "http://192.168.1.7:20831", true},
      {"192.168.1.7:20831", "http://192.168.1.7", false},
      {"192.168.1.7:20831", "http://192.168.1.7:20831.evil.example", false},
      {"192.168.1.7:20831", "null", false},
      {"192.168.1.7:20831", "", false},
      {"192.168.1.7", "https://192.168.1.7", true},
      {"LocalHost:20831", "http://localhost:20831", true},
      {"[fe80::1]:20831", kSame, true},
      {"[evil.example]", kSame, false},
      {"VENUE-PC.local", "http://venue-pc.local", true},
      {"venue-pc.local.evil.example", kSame, false},
      {".local", kSame, false},
      {"evil.example", kSame, false},
      {"1.2.3.4.evil.example", kSame, false},
      {"1.2.3", kSame, false},
      {"1.2.3.256", kSame, false},
      {"1.2.3.4:5:6", kSame, false},
      {"localhost:http", kSame, false},
  };
  for (const auto& c : cases) {
    const std::string same = "http://" + std::string(c.host.value_or(""));
    EXPECT_EQ(IsOwnOrigin(c.host, c.origin == kSame ? same : c.origin, "Venue-PC"), c.own)
        << c.host.value_or("-") << " " << c.origin.value_or("-");
  }
  EXPECT_TRUE(IsOwnOrigin("venue-pc", "http://venue-pc", "venue-pc.local"));
  EXPECT_FALSE(IsOwnOrigin(":80", "http://:80", ""));
}

}  // namespace
}  // namespace tarnwick::remote
