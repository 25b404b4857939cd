#include <gtest/gtest.h>

#include "remote/http_head.h"
#include "remote/http_origin.h"
#include "remote/http_query.h"
#include "remote/http_response.h"

namespace tarnwick::remote {
namespace {

TEST(HttpHead, EndsAtItsEmptyLineOrAtTheCap) {
  EXPECT_FALSE(IsHeadComplete(""));
  EXPECT_FALSE(IsHeadComplete("GET / HTTP/1.1\r\n\n\r"));
  EXPECT_TRUE(IsHeadComplete("\r\n\r\n"));
  EXPECT_TRUE(IsHeadComplete("GET / HTTP/1.1\r\n\r\nmore"));
  EXPECT_FALSE(IsHeadComplete(std::string(8191, 'x')));
  EXPECT_TRUE(IsHeadComplete(std::string(8192, 'x')));
}

TEST(HttpHead, RequestLine) {
  const struct {
    std::string head;
    std::string method;  // empty: invalid
    std::string target;
  } cases[] = {
      {"GET /a?b=c HTTP/1.1\r\n\r\n", "GET", "/a?b=c"},
      {"get / \r\n", "get", "/"},
      {"PUT x y z w\r\nHost: a\r\n\r\n", "PUT", "x"},
      {"GET /\r\n\r\n", "", ""},
      {"GET  / HTTP/1.1\r\n\r\n", "", ""},
      {" GET / HTTP/1.1\r\n\r\n", "", ""},
      {"GET / HTTP/1.1", "", ""},
      {"GET\r\n / HTTP/1.1\r\n\r\n", "", ""},
      {"\r\n\r\n", "", ""},
      {std::string(8192, ' '), "", ""},
  };
  for (const auto& c : cases) {
    const auto head = ParseRequestHead(c.head);
    ASSERT_EQ(head.has_value(), !c.method.empty()) << c.head;
    if (head) {
      EXPECT_EQ(head->method, c.method);
      EXPECT_EQ(head->target, c.target);
      EXPECT_EQ(head->raw, c.head);
    }
  }
}

TEST(HttpHead, Fields) {
  const std::string raw =
      "GET Host: /none HTTP/1.1\r\nhOST:\t venue \t\r\nHost: second\r\n folded: x\r\nEmpty:\r\nnocolon\r\n"
      "Connection: keep-alive, Upgrade\r\nConnection: TE\r\n\r\nAfter: body\r\n\r\n";
  EXPECT_EQ(HeaderField(raw, "Host"), "venue");
  EXPECT_EQ(HeaderField(raw, "Empty"), "");
  EXPECT_EQ(HeaderField(raw, "folded"), std::nullopt);
  EXPECT_EQ(HeaderField(raw, "After"), std::nullopt);
  EXPECT_EQ(HeaderField("GET / x\r\nHost: cut", "host"), "cut");
  EXPECT_TRUE(FieldContains(raw, "connection", "upgrade"));
  EXPECT_TRUE(FieldContains(raw, "connection", "te"));
  EXPECT_FALSE(FieldContains(raw, "connection", "close"));
  EXPECT_EQ(BytesAfterHead(raw), "After: body\r\n\r\n");
  EXPECT_EQ(BytesAfterHead("GET / HTTP/1.1\r\n"), "");
}

TEST(HttpQuery, Decoding) {
  const struct {
    std::string text, decoded;
  } cases[] = {
      {"a+b%20c", "a b c"}, {"%2B%2b", "++"}, {"%c3%A9", "\xC3\xA9"}, {"%00", std::string(1, '\0')},
      {"%", "%"},           {"%4", "%4"},     {"%zz", "%zz"},         {"%4g%41", "%4gA"},
      {"%%41", "%A"},       {"%-1", "%-1"},   {"100%", "100%"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DecodeQueryText(c.text), c.decoded) << c.text;
  }
}

TEST(HttpQuery, Targets) {
  const struct {
    std::string target, path;
    QueryParameters query;
  } cases[] = {
      {"/remote", "/remote", {}},
      {"/a%20b?", "/a%20b", {}},
      {"/a?x=1&y=2", "/a", {{"x", "1"}, {"y", "2"}}},
      {"/a?x=1=2&x=3?4&flag&&=v", "/a", {{"x", "3?4"}, {"flag", ""}, {"", "v"}}},
      {"?%78+=%26", "", {{"x ", "&"}}},
  };
  for (const auto& c : cases) {
    const SplitTarget split = ParseTarget(c.target);
    EXPECT_EQ(split.path, c.path) << c.target;
    EXPECT_EQ(split.query, c.query) << c.target;
  }
}

TEST(HttpResponse, Bytes) {
  EXPECT_EQ(BuildHttpResponse(HttpStatusText(404), kJsonType, "{}"),
            "HTTP/1.1 404 Not Found\r\nContent-Type: application/json; charset=utf-8\r\nContent-Length: 2\r\n"
            "Connection: close\r\nCache-Control: no-store\r\n\r\n{}");
  const std::pair<int, std::string_view> texts[] = {{200, "200 OK"},
                                                    {202, "202 Accepted"},
                                                    {400, "400 Bad Request"},
                                                    {403, "403 Forbidden"},
                                                    {405, "405 Method Not Allowed"},
                                                    {503, "503 Service Unavailable"},
                                                    {500, "500 Internal Server Error"},
                                                    {418, "500 Internal Server Error"}};
  for (const auto& [status, text] : texts) {
    EXPECT_EQ(HttpStatusText(status), text);
  }
}

TEST(HttpOrigin, OnlyOurOwnPages) {
  using Field = std::optional<std::string_view>;
  constexpr std::string_view kSame = "the same";
  const struct {
    Field host, origin;
    bool own;
  } cases[] = {
      {{}, {}, true},
      {{}, "http://evil.example", true},
      {"", "http://evil.example", true},
      {"192.168.1.7:20831", {}, true},
      {"evil.example", {}, true},  // a script, not a browser: whatever the name it knows us by
      {"192.168.1.7:20831", "http://192.168.1.7:20831", true},
      {"192.168.1.7:20831", "http://192.168.1.7", false},
      {"192.168.1.7:20831", "http://192.168.1.8:20831", false},
      {"192.168.1.7:20831", "http://192.168.1.7:20831.evil.example", false},
      {"192.168.1.7:20831", "null", false},
      {"192.168.1.7:20831", "", false},
      {"192.168.1.7", "https://192.168.1.7", true},
      {"LocalHost:20831", "http://localhost:20831", true},
      {"[::1]:20831", "http://[::1]:20831", true},
      {"[fe80::1]", kSame, true},
      {"[evil.example]", kSame, false},
      {"venue-pc:20831", kSame, true},
      {"VENUE-PC.local", "http://venue-pc.local", true},
      {"venue-pc.local.evil.example", kSame, false},
      {"venue-pc2", kSame, false},
      {".local", kSame, false},
      {"evil.example:20831", "http://evil.example:20831", false},
      {"evil.example", kSame, false},
      {"1.2.3.4.evil.example", kSame, false},
      {"1.2.3", kSame, false},
      {"1.2.3.256", kSame, false},
      {"1.2.3.4.", kSame, false},
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
  EXPECT_TRUE(NeedsOwnOrigin("POST", "/anything"));
  EXPECT_TRUE(NeedsOwnOrigin("GET", "/ws"));
  EXPECT_FALSE(NeedsOwnOrigin("GET", "/api/status"));
}

}  // namespace
}  // namespace tarnwick::remote
