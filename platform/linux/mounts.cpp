#include "platform/linux/mounts.h"

#include <algorithm>

namespace tarnwick::platform {
namespace {

constexpr std::string_view kPlaces[] = {"/media", "/run/media", "/mnt"};

// The kernel writes blanks, line ends and backslashes as a backslash and three octal digits.
std::string plain(std::string_view text) {
  const auto digit = [](char c) { return c >= '0' && c <= '7'; };
  std::string out;
  for (size_t k = 0; k < text.size(); ++k) {
    if (text[k] == '\\' && k + 3 < text.size() && digit(text[k + 1]) && digit(text[k + 2]) && digit(text[k + 3])) {
      out += static_cast<char>((text[k + 1] - '0') * 64 + (text[k + 2] - '0') * 8 + (text[k + 3] - '0'));
      k += 3;
    } else {
      out += text[k];
    }
  }
  return out;
}

bool isAdded(std::string_view path) {
  return std::any_of(std::begin(kPlaces), std::end(kPlaces), [path](std::string_view place) {
    return path.starts_with(place) && (path.size() == place.size() || path[place.size()] == '/');
  });
}

}  // namespace

std::vector<std::string> AddedMountPoints(std::string_view mounts) {
  std::vector<std::string> points;
  while (!mounts.empty()) {
    const size_t end = std::min(mounts.find('\n'), mounts.size());
    std::string_view line = mounts.substr(0, end);
    mounts.remove_prefix(std::min(end + 1, mounts.size()));
    line.remove_prefix(std::min(line.find(' '), line.size()));  // the device
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    std::string point = plain(line.substr(0, line.find(' ')));
    if (isAdded(point) && std::find(points.begin(), points.end(), point) == points.end()) {
      points.push_back(std::move(point));
    }
  }
  return points;
}

}  // namespace tarnwick::platform
