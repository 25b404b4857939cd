#include "remote/http_head.h"

#include "remote/ascii.h"

namespace tarnwick::remote {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the next line off `rest`. A last line that was cut off counts as one.
std::string_view takeLine(std::string_view& rest) {
  const size_t end = rest.find(kLineEnd);
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + kLineEnd.size());
  return line;
}

// Calls `visit` with the value of each field of that name until it returns true; the answer is the last one's.
template <typename Visit>
bool visitFields(std::string_view raw, std::string_view name, Visit visit) {
  takeLine(raw);
  while (!raw.empty()) {
    const std::string_view line = takeLine(raw);
    if (line.empty()) {
      return false;
    }
    const size_t colon = line.find(':');
    if (colon != std::string_view::npos && EqualIgnoringAsciiCase(line.substr(0, colon), name) &&
        visit(trimmed(line.substr(colon + 1)))) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool IsHeadComplete(std::string_view received) {
  return received.size() >= kMostHeadBytes || HasAllFields(received);
}

bool HasAllFields(std::string_view received) {
  return received.find(kHeadEnd) != std::string_view::npos;
}

std::optional<HttpRequestHead> ParseRequestHead(std::string received) {
  const std::string_view raw = received;
  const size_t lineEnd = raw.find(kLineEnd);
  if (lineEnd == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view line = raw.substr(0, lineEnd);
  const size_t first = line.find(' ');
  const size_t second = first == std::string_view::npos ? first : line.find(' ', first + 1);
  if (second == std::string_view::npos || first == 0 || second == first + 1) {
    return std::nullopt;
  }
  HttpRequestHead head;
  head.method = line.substr(0, first);
  head.target = line.substr(first + 1, second - first - 1);
  head.raw = std::move(received);
  return head;
}

std::optional<std::string_view> HeaderField(std::string_view raw, std::string_view name) {
  std::optional<std::string_view> found;
  visitFields(raw, name, [&found](std::string_view value) {
    found = value;
    return true;
  });
  return found;
}

bool FieldContains(std::string_view raw, std::string_view name, std::string_view token) {
  return visitFields(raw, name,
                     [token](std::string_view value) { return LowerAscii(value).find(token) != std::string::npos; });
}

std::string_view BytesAfterHead(std::string_view raw) {
  const size_t end = raw.find(kHeadEnd);
  return end == std::string_view::npos ? std::string_view{} : raw.substr(end + kHeadEnd.size());
}

}  // namespace tarnwick::remote
