// The machine's name and its network adapters. Any thread; allocates.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnwick::platform {

// Interface types, as Windows numbers them.
inline constexpr uint32_t kLoopbackInterface = 24;
inline constexpr uint32_t kTunnelInterface = 131;
inline constexpr uint32_t kEthernetInterface = 6;

struct Ipv4Address {
  uint32_t address = 0;       // machine's byte order
  uint32_t prefixLength = 0;  // 0..32
};

struct NetworkAdapter {
  std::wstring friendlyName;  // Linux: the interface's name
  std::wstring description;   // Linux: its alias and its driver's name, as far as the system tells
  uint32_t interfaceType = 0;
  std::vector<Ipv4Address> addresses;
};

// The adapters that are up. Empty when the system does not tell.
std::vector<NetworkAdapter> NetworkAdapters();

// The DNS host name; empty when unknown.
std::wstring MachineName();

// The machine's names as the system's settings tell them, without asking any server: the host name, and its full names
// by the domains of the machine and of its networks ("stage-pc", "stage-pc.lan"). None twice; empty when unknown.
std::vector<std::wstring> MachineNames();

// `host` by itself and in each of the domains. Dots at a domain's ends do not count; an empty domain is passed over.
std::vector<std::wstring> NamesInDomains(const std::wstring& host, const std::vector<std::wstring>& domains);

// "192.168.1.7"
std::string Ipv4Text(uint32_t address);

}  // namespace tarnwick::platform
