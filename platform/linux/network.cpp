#include "platform/network.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>
#include <string_view>

#include "platform/files.h"
#include "platform/linux/domains.h"
#include "platform/linux/interface_facts.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

uint32_t ipv4Of(const sockaddr* address) {
  sockaddr_in place{};
  std::copy_n(reinterpret_cast<const char*>(address), sizeof place, reinterpret_cast<char*>(&place));
  return ntohl(place.sin_addr.s_addr);
}

NetworkAdapter& adapterNamed(std::vector<NetworkAdapter>& adapters, const std::string& name) {
  const std::wstring wide = WideFromUtf8(name);
  const auto known = std::find_if(adapters.begin(), adapters.end(),
                                  [&wide](const NetworkAdapter& adapter) { return adapter.friendlyName == wide; });
  if (known != adapters.end()) {
    return *known;
  }
  const std::string folder = "/sys/class/net/" + name;
  adapters.push_back({wide, InterfaceDescriptionIn(folder), InterfaceTypeIn(folder), {}});
  return adapters.back();
}

// The kernel's name for the machine, which has the domain in it on some machines; empty when unknown.
std::wstring nodeName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? WideFromUtf8(name.data()) : std::wstring();
}

std::string settingsText(const std::wstring& path) {
  constexpr size_t kMostSettingsBytes = size_t{1} << 20;
  return ReadWholeFile(path, kMostSettingsBytes).bytes;
}

}  // namespace

std::vector<NetworkAdapter> NetworkAdapters() {
  constexpr unsigned kWorking = IFF_UP | IFF_RUNNING;
  std::vector<NetworkAdapter> adapters;
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    return adapters;
  }
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if ((entry->ifa_flags & kWorking) != kWorking) {
      continue;
    }
    // An address may have a label of its own, the interface's name with a colon and more.
    const std::string_view label = entry->ifa_name;
    NetworkAdapter& adapter = adapterNamed(adapters, std::string(label.substr(0, label.find(':'))));
    if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET) {
      const uint32_t mask = entry->ifa_netmask != nullptr ? ipv4Of(entry->ifa_netmask) : ~uint32_t{0};
      adapter.addresses.push_back({ipv4Of(entry->ifa_addr), static_cast<uint32_t>(std::popcount(mask))});
    }
  }
  return adapters;
}

std::wstring MachineName() {
  const std::wstring name = nodeName();
  return name.substr(0, name.find(L'.'));
}

std::vector<std::wstring> MachineNames() {
  const std::wstring node = nodeName();
  const size_t dot = node.find(L'.');
  const std::wstring host = node.substr(0, dot);
  std::vector<std::wstring> domains;
  if (dot != std::wstring::npos) {
    domains.push_back(node.substr(dot + 1));
  }
  const auto add = [&domains](const std::vector<std::wstring>& more) {
    domains.insert(domains.end(), more.begin(), more.end());
  };
  add(DomainsInHosts(settingsText(L"/etc/hosts"), host));
  add(DomainsInResolverSettings(settingsText(L"/etc/resolv.conf")));
  return NamesInDomains(host, domains);
}

}  // namespace tarnwick::platform
