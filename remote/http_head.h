// The head of an HTTP request: when it is complete, its request line, its fields. Pure; any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tarnwick::remote {

inline constexpr size_t kMostHeadBytes = 8192;

struct HttpRequestHead {
  std::string raw;     // all bytes received, which may go on after the head
  std::string method;  // as sent; compared with regard to case
  std::string target;
};

// True once no more is to be read: the head has its empty line, or has reached the longest length.
bool IsHeadComplete(std::string_view received);

// False for a head that was cut off at the longest length: what fields it had further on is not known.
bool HasAllFields(std::string_view received);

// Nothing when the request line is not "METHOD TARGET REST" in lines ended by CR LF.
std::optional<HttpRequestHead> ParseRequestHead(std::string received);

// The value of the first field of that name, without blanks around it; nothing when there is none. Names are compared
// without regard to case. A continuation line of a folded field is not looked at.
std::optional<std::string_view> HeaderField(std::string_view raw, std::string_view name);

// True when a field of that name contains `token` (in lower case) anywhere, without regard to case.
bool FieldContains(std::string_view raw, std::string_view name, std::string_view token);

// The bytes behind the head's empty line.
std::string_view BytesAfterHead(std::string_view raw);

}  // namespace tarnwick::remote
