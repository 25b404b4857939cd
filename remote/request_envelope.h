// Requests and answers on the WebSocket channel: a JSON object each. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::remote {

// Of a path that is answered: two texts of the greatest length, of 12 bytes a character in percent-encoding, and more.
inline constexpr size_t kMostPathBytes = size_t{128} << 10;

struct RequestEnvelope {
  std::string id;  // an integer of 64 bits, in decimal
  std::string method = "POST";
  std::string path;  // with its query
  std::string body;
};

// {"type":"request","id":5,"method":"GET","path":"/api/status","body":""}; method and body may be missing and are then,
// as when they are no strings, "POST" and empty. Of two members with one name the last counts. Nothing for anything
// else: no object, invalid UTF-8, a wrong type, no id, an id with a fraction or an exponent, no path. Other members may
// be nested to any depth. Takes memory in proportion to the text.
std::optional<RequestEnvelope> ParseRequestEnvelope(std::string_view text);

// `body` is a JSON document.
std::string ResponseEnvelope(std::string_view id, int status, std::string_view body);

}  // namespace tarnwick::remote
