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

TEST(HttpQuery, Targets) {
  const struct {
    std::string target, path;
    QueryParameters query;
  } cases[] = {
      {"/a%20b?", "/a%20b", {}},
      {"/a?x=1=2&x=3?4&flag&&=v", "/a", {{"x", "3?4"}, {"flag", ""}, {"", "v"}}},
      {"?%78+=%26", "", {{"x ", "&"}}},
      {"?a+b%20%2B=%c3%A9", "", {{"a b +", "\xC3\xA9"}}},
      {"?a=%&b=%4&c=%4g%41&d=%%41&e=%-1", "", {{"a", "%"}, {"b", "%4"}, {"c", "%4gA"}, {"d", "%A"}, {"e", "%-1"}}},
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
  const auto names = [] { return std::vector<std::string>{"Venue-PC", "venue-pc.lan", "mac.local"}; };
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
      {"venue-pc:20831", kSame, true},
      {"Venue-PC.LAN:20831", kSame, true},
      {"venue-pc.lan.:20831", kSame, true},
      {"venue-pc.local.", kSame, true},
      {"localhost.", kSame, true},
      {"mac", kSame, true},
      {"venue-pc.example", kSame, false},
      {"venue-pc.lan.example", kSame, false},
      {"lan", kSame, false},
      {"venue-pc.lan..", kSame, false},
      {":80", kSame, false},
      {"venue-pc.local.evil.example", kSame, false},
      {"1.2.3.4.evil.example", kSame, false},
      {"1.2.3.256", kSame, false},
      {"1.2.3.4:5:6", kSame, false},
      {"localhost:http", kSame, false},
  };
  for (const auto& c : cases) {
    const std::string same = "http://" + std::string(c.host.value_or(""));
    EXPECT_EQ(OriginRefusal(c.host, c.origin == kSame ? same : c.origin, names).empty(), c.own)
        << c.host.value_or("-") << " " << c.origin.value_or("-");
  }
  EXPECT_EQ(
      OriginRefusal("a.example:1", "http://a.example:1", names),
      "This page was opened as \"a.example\", which this machine does not know as a name of its own, and pages under "
      "foreign names may not control it. Open it as Venue-PC, venue-pc.lan, mac.local, localhost, or by the "
      "machine's address.");
  EXPECT_EQ(OriginRefusal("venue-pc", "http://" + std::string(300, 'a'), names),
            "The request came from a page of \"http://" + std::string(193, 'a') +
                "...\", and only the program's own pages may control it.");
}

}  // namespace
}  // namespace tarnwick::remote
