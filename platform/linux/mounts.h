// Mount points where people keep removable and added disks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::platform {

// From the text of /proc/self/mounts: the mount points at or below /media, /run/media and /mnt, in its order, each
// once, without those of the network.
std::vector<std::string> AddedMountPoints(std::string_view mounts);

}  // namespace tarnwick::platform
