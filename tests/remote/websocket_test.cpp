#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "remote/request_envelope.h"
#include "remote/websocket_frames.h"
#include "remote/websocket_outbox.h"

namespace tarnwick::remote {
namespace {

// Gives the bytes once and counts what is asked for.
struct Bytes {
  std::string_view left;
  size_t asked = 0;

  bool read(std::span<char> out) {
    asked += out.size();
    if (out.size() > left.size()) {
      return false;
    }
    std::memcpy(out.data(), left.data(), out.size());
    left.remove_prefix(out.size());
    return true;
  }
};

// The header of a masked frame with the length in the form given; key 1, 2, 3, 4.
std::string header(uint8_t first, uint8_t form, int lengthBytes, uint64_t length) {
  std::string out{static_cast<char>(first), static_cast<char>(0x80 | form)};
  for (int k = lengthBytes - 1; k >= 0; --k) {
    out.push_back(static_cast<char>(length >> (8 * k) & 0xFF));
  }
  return out + "\x01\x02\x03\x04";
}

std::string masked(std::string text) {
  for (size_t k = 0; k < text.size(); ++k) {
    text[k] = static_cast<char>(text[k] ^ static_cast<char>(k % 4 + 1));
  }
  return text;
}

TEST(WebSocketFrames, AreReadInEveryForm) {
  const std::string text = "hello";
  const std::string large(70000, 'x');
  const struct {
    std::string bytes;
    bool read;
    uint8_t opcode;
    std::string payload;
  } cases[] = {
      {header(0x01, 5, 0, 0) + masked(text), true, kTextOpcode, text},  // a fragment
      {header(0xF0, 5, 0, 0) + masked(text), true, 0, text},            // a continuation with reserved bits
      {header(0x89, 0, 0, 0), true, kPingOpcode, ""},
      {header(0x81, 126, 2, 5) + masked(text), true, kTextOpcode, text},
      {header(0x82, 127, 8, large.size()) + masked(large), true, 2, large},
      {header(0x88, 0, 0, 0), false, 0, ""},              // close
      {std::string("\x81\x05hello, all"), false, 0, ""},  // not masked
      {header(0x81, 5, 0, 0) + "hell", false, 0, ""},     // cut off
      {std::string("\x81"), false, 0, ""},
      {header(0x81, 127, 8, kMostPayloadBytes) + "few", false, 0, ""},
      {header(0x81, 127, 8, kMostPayloadBytes + 1), false, 0, ""},
      {header(0x81, 127, 8, ~uint64_t{0}), false, 0, ""},
  };
  for (const auto& c : cases) {
    Bytes bytes{c.bytes};
    Frame frame;
    ASSERT_EQ(ReadFrame([&](std::span<char> out) { return bytes.read(out); }, frame), c.read) << c.bytes.substr(0, 20);
    if (c.read) {
      EXPECT_EQ(frame.opcode, c.opcode);
      EXPECT_EQ(frame.payload, c.payload);
      EXPECT_TRUE(bytes.left.empty());
    } else {
      EXPECT_LT(bytes.asked, 100000u) << "a claimed length takes no memory";
      EXPECT_LT(frame.payload.capacity(), 200000u);
    }
  }
}

TEST(WebSocketFrames, AreWrittenWithTheShortestLength) {
  const std::pair<size_t, std::string> cases[] = {{125, "\x81\x7D"},
                                                  {126, std::string("\x81\x7E\0\x7E", 4)},
                                                  {65535, "\x81\x7E\xFF\xFF"},
                                                  {65536, std::string("\x81\x7F\0\0\0\0\0\x01\0\0", 10)}};
  for (const auto& [length, header] : cases) {
    EXPECT_EQ(TextFrame(std::string(length, 'a')), header + std::string(length, 'a')) << length;
  }
  EXPECT_EQ(ControlFrame(kPingOpcode), std::string("\x89\0", 2));
  EXPECT_EQ(ControlFrame(kPongOpcode), std::string("\x8A\0", 2));
}

TEST(RequestEnvelope, Parsing) {
  const struct {
    std::string text;
    std::string id;  // empty: does not parse
    std::string method = "POST", path = "/p", body = {};
  } cases[] = {
      {R"({"type":"request","id":5,"path":"/p"})", "5"},
      {R"({"body":"{\"a\":1}","path":"/p","method":"GET","id":-7,"type":"request"})", "-7", "GET", "/p", R"({"a":1})"},
      {R"( {"type":"request","id":18446744073709551615,"path":"/\u00e9","x":[{}]} )", "18446744073709551615", "POST",
       "/\xC3\xA9"},
      {R"({"type":"request","id":1,"path":"/p","body":{"type":"x","path":"","id":2.5},"method":null})", "1"},
      {R"({"type":"x","type":"request","id":1,"id":2,"path":"","path":"/p"})", "2"},
      {R"({"type":"request","id":1.0,"path":"/p"})", ""},
      {R"({"type":"request","id":18446744073709551616,"path":"/p"})", ""},
      {R"({"type":"request","path":"/p"})", ""},
      {R"({"type":"request","id":1,"path":""})", ""},
      {R"({"type":"answer","id":1,"path":"/p"})", ""},
      {R"([{"type":"request","id":1,"path":"/p"}])", ""},
      {R"({"type":"request","id":1,"path":"/p"} x)", ""},
      {R"({"type":"request","id":1,"path":"/p")", ""},
      {std::string(R"({"type":"request","id":1,"path":"/p"})") + '\0' + "x", ""},
      {"{\"type\":\"request\",\"id\":1,\"path\":\"/\xFF\"}", ""},
      {R"({"type":"request","id":1,"path":"/\ud800"})", ""},
      {R"({"type":"request","id":1,"path":"/p","x":)" + std::string(1000000, '['), ""},
      {R"({"type":"request","path":"/p","id":1,"x":[ ] , "y":{ } , "z":[1 , -2.5e3,true,null,"\t",[],{"a":[]}]})", "1"},
      {R"({"type":"request","id":1,"path":"/p","x":[1 2]})", ""},
      {R"({"type":"request","id":1,"path":"/p","x":[}})", ""},
      {R"({"type":"request","id":1,"path":"/p","x":{1:2}})", ""},
      {R"({"type":"request","id":1,"path":"/p",})", ""},
      {"", ""},
  };
  for (const auto& c : cases) {
    const auto envelope = ParseRequestEnvelope(c.text);
    ASSERT_EQ(envelope.has_value(), !c.id.empty()) << c.text.substr(0, 90);
    if (envelope) {
      EXPECT_EQ(envelope->id, c.id);
      EXPECT_EQ(envelope->method, c.method) << c.text;
      EXPECT_EQ(envelope->path, c.path);
      EXPECT_EQ(envelope->body, c.body) << c.text;
    }
  }
}

// A connection that takes `room` bytes and then none.
struct Wire {
  size_t room = 0;
  bool broken = false;
  std::string taken{};

  WebSocketOutbox::Sender sender() {
    return [this](std::string_view bytes) -> int64_t {
      const size_t count = std::min(room, bytes.size());
      taken.append(bytes.substr(0, count));
      room -= count;
      return broken ? -1 : static_cast<int64_t>(count);
    };
  }
};

TEST(WebSocketOutbox, KeepsOrderAndGivesUpOnAStalledClient) {
  using std::chrono::milliseconds;
  const WebSocketOutbox::Time start{std::chrono::hours(1)};
  const auto frame = [](std::string text) { return std::make_shared<const std::string>(std::move(text)); };
  Wire wire{4};
  WebSocketOutbox outbox;
  EXPECT_TRUE(outbox.push(frame("abc"), start, wire.sender()));
  EXPECT_TRUE(outbox.empty());
  EXPECT_TRUE(outbox.push(frame("def"), start, wire.sender()));
  EXPECT_TRUE(outbox.push(frame("ghi"), start + milliseconds(1900), wire.sender()));
  wire.room = 1;
  EXPECT_TRUE(outbox.flush(start + milliseconds(1999), wire.sender()));
  EXPECT_TRUE(outbox.flush(start + milliseconds(3998), wire.sender()));
  EXPECT_FALSE(outbox.flush(start + milliseconds(3999), wire.sender()));
  wire.room = 100;
  EXPECT_TRUE(outbox.push(frame("jkl"), start + milliseconds(3999), wire.sender()));
  EXPECT_EQ(wire.taken, "abcdefghijkl");

  // After a long rest the time counts anew.
  wire.room = 0;
  EXPECT_TRUE(outbox.push(frame("m"), start + milliseconds(9000), wire.sender()));
  wire.broken = true;
  EXPECT_FALSE(outbox.flush(start + milliseconds(9000), wire.sender()));
}

// How long a frame may wait for a client that takes some of it every second.
TEST(WebSocketOutbox, GivesUpOnAClientThatIsTooSlowButNotOnASlowOne) {
  const struct {
    size_t bytes, perSecond;
    int dropped;  // after so many seconds; 0: it gets all
  } cases[] = {
      {4000, 10, 6},  // a small one within 5 s and its own quarter of a second
      {40'000, 4000, 8},      {40'000, 6000, 0},
      {4'000'000, 8000, 255}, {4'000'000, 16'000, 0},  // a large one at the slowest rate
  };
  for (const auto& c : cases) {
    WebSocketOutbox::Time now{std::chrono::hours(1)};
    Wire wire;
    WebSocketOutbox outbox;
    EXPECT_TRUE(outbox.push(std::make_shared<const std::string>(c.bytes, 'x'), now, wire.sender()));
    int seconds = 0;
    bool kept = true;
    while (kept && !outbox.empty()) {
      wire.room = c.perSecond;
      now += std::chrono::seconds(1);
      ++seconds;
      kept = outbox.flush(now, wire.sender());
    }
    EXPECT_EQ(kept ? 0 : seconds, c.dropped) << c.bytes << " bytes, " << c.perSecond << " a second";
  }
}

TEST(WebSocketOutbox, TakesOneFrameOfAnyLengthAndThenNoMore) {
  Wire wire;
  WebSocketOutbox outbox;
  const auto large = std::make_shared<const std::string>(WebSocketOutbox::kMostBytes + 1, 'x');
  EXPECT_TRUE(outbox.push(large, {}, wire.sender()));
  wire.room = 1000;
  EXPECT_TRUE(outbox.push(large, {}, wire.sender())) << "the first counts as being taken";
  EXPECT_EQ(outbox.bytes(), 2 * large->size() - 1000);
  EXPECT_FALSE(outbox.push(large, {}, wire.sender()));
}

}  // namespace
}  // namespace tarnwick::remote
