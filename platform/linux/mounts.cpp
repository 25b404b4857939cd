#include "platform/linux/mounts.h"

#include <algorithm>

namespace tarnwick::platform {
namespace {

constexpr std::string_view kPlaces[] = {"/media", "/run/media", "/mnt"};
constexpr std::string_view kNetworkTypes[] = {"afs",   "ceph", "cifs", "fuse.glusterfs", "fuse.sshfs",
                                              "ncpfs", "nfs",  "nfs4", "smb3",           "smbfs"};

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

// Takes the line's next field from its beginning.
std::string_view takeField(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  const std::string_view field = line.substr(0, line.find(' '));
  line.remove_prefix(field.size());
  return field;
}

}  // namespace

std::vector<std::string> AddedMountPoints(std::string_view mounts) {
  std::vector<std::string> points;
  while (!mounts.empty()) {
    const size_t end = std::min(mounts.find('\n'), mounts.size());
    std::string_view line = mounts.substr(0, end);
    mounts.remove_prefix(std::min(end + 1, mounts.size()));
    takeField(line);  // the device
    std::string point = plain(takeField(line));
    const std::string_view type = takeField(line);
    const bool ofNetwork =
        std::find(std::begin(kNetworkTypes), std::end(kNetworkTypes), type) != std::end(kNetworkTypes);
    if (isAdded(point) && !ofNetwork && std::find(points.begin(), points.end(), point) == points.end()) {
      points.push_back(std::move(point));
    }
  }
  return points;
}

}  // namespace tarnwick::platform
