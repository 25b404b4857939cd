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

std::string_view withoutLocal(std::string_view name) {
  const bool local =
      name.size() > kLocal.size() && EqualIgnoringAsciiCase(name.substr(name.size() - kLocal.size()), kLocal);
  return local ? name.substr(0, name.size() - kLocal.size()) : name;
}

bool isOwnName(std::string_view host, std::string_view machineName) {
  const size_t colon = host.rfind(':');
  if (colon != std::string_view::npos && isDigits(host.substr(colon + 1)) && host.size() - colon <= 6) {
    host = host.substr(0, colon);
  }
  return isIpv4(host) || isIpv6(host) || EqualIgnoringAsciiCase(host, "localhost") ||
         (!machineName.empty() && EqualIgnoringAsciiCase(withoutLocal(host), withoutLocal(machineName)));
}

}  // namespace

bool NeedsOwnOrigin(std::string_view method, std::string_view path) {
  return method == "POST" || path == "/ws";
}

bool IsOwnOrigin(std::optional<std::string_view> host, std::optional<std::string_view> origin,
                 std::string_view machineName) {
  if (!host || host->empty() || !origin) {
    return true;
  }
  if (!isOwnName(*host, machineName)) {
    return false;
  }
  const size_t scheme = origin->find("://");
  return scheme != std::string_view::npos && EqualIgnoringAsciiCase(origin->substr(scheme + 3), *host);
}

}  // namespace tarnwick::remote
