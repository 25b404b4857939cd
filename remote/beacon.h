// The discovery beacon: where it is sent, and what it says. Pure; any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/network.h"

namespace tarnwick::remote {

struct BeaconTarget {
  uint32_t address = 0;    // ours, told in the beacon
  uint32_t broadcast = 0;  // of its network
};

// One for each address of a real adapter; virtual, tunnel and loopback adapters are left out.
std::vector<BeaconTarget> BeaconTargets(const std::vector<platform::NetworkAdapter>& adapters);

// The service descriptor, a JSON object. `host` is an IPv4 address as text.
std::string ServiceDescriptor(std::wstring_view serverName, std::string_view host, uint16_t port);

}  // namespace tarnwick::remote
