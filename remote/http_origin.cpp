#include "remote/http_origin.h"

#include <algorithm>
#include <charconv>

#include "remote/ascii.h"

namespace tarnwick::remote {
namespace {

constexpr std::string_view kLocal = ".local";

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isIpv4(std::string_view text) {
  for (int part = 0; part < 4; ++part) {
    const size_t end = part < 3 ? text.find('.') : text.size();
    if (end == std::string_view::npos || end > 3 || !isDigits(text.substr(0, end))) {
      return false;
    }
    int value = 0;
    std::from_chars(text.data(), text.data() + end, value);
    if (value > 255) {
      return false;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return text.empty();
}

// In brackets. No name can stand there, so the characters are check enough.
bool isIpv6(std::string_view text) {
  if (text.size() < 4 || text.front() != '[' || text.back() != ']') {
    return false;
  }
  const std::string_view inside = text.substr(1, text.size() - 2);
  return inside.find(':') != std::string_view::npos &&
         inside.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
}

std::string_view withoutEnd(std::string_view text, std::string_view end) {
  const bool has = text.size() > end.size() && EqualIgnoringAsciiCase(text.substr(text.size() - end.size()), end);
  return has ? text.substr(0, text.size() - end.size()) : text;
}

std::string_view withoutPort(std::string_view host) {
  const size_t colon = host.rfind(':');
  const bool has = colon != std::string_view::npos && isDigits(host.substr(colon + 1)) && host.size() - colon <= 6;
  return has ? host.substr(0, colon) : host;
}

// As far as a person can take it in.
std::string quoted(std::string_view text) {
  constexpr size_t kMostBytes = 200;
  return '"' + std::string(text.substr(0, kMostBytes)) + (text.size() > kMostBytes ? "..." : "") + '"';
}

std::string nameRefusal(std::string_view host, const std::vector<std::string>& machineNames) {
  const std::string_view name = withoutEnd(withoutEnd(withoutPort(host), "."), kLocal);
  for (const std::string& own : machineNames) {
    if (!name.empty() && EqualIgnoringAsciiCase(name, withoutEnd(own, kLocal))) {
      return {};
    }
  }
  std::string text = "This page was opened as " + quoted(withoutPort(host)) +
                     ", which this machine does not know as a name of its own, and pages under foreign names may not "
                     "control it. Open it as ";
  for (const std::string& own : machineNames) {
    text += own + ", ";
  }
  return text + "localhost, or by the machine's address.";
}

}  // namespace

bool NeedsOwnOrigin(std::string_view method, std::string_view path) {
  return method == "POST" || path == "/ws";
}

std::string OriginRefusal(std::optional<std::string_view> host, std::optional<std::string_view> origin,
                          const std::function<std::vector<std::string>()>& machineNames) {
  if (!host || host->empty() || !origin) {
    return {};
  }
  const std::string_view place = withoutPort(*host);
  if (!isIpv4(place) && !isIpv6(place) && !EqualIgnoringAsciiCase(withoutEnd(place, "."), "localhost")) {
    if (std::string refusal = nameRefusal(*host, machineNames()); !refusal.empty()) {
      return refusal;
    }
  }
  const size_t scheme = origin->find("://");
  if (scheme != std::string_view::npos && EqualIgnoringAsciiCase(origin->substr(scheme + 3), *host)) {
    return {};
  }
  return "The request came from a page of " + quoted(*origin) + ", and only the program's own pages may control it.";
}

}  // namespace tarnwick::remote
