#include "platform/network.h"

#include <winsock2.h>

// Needs the types of the header above.
#include <iphlpapi.h>

#include <algorithm>

namespace tarnwick::platform {
namespace {

// The system's list, in the first of these elements; empty when it does not tell.
std::vector<IP_ADAPTER_ADDRESSES> adapterList() {
  constexpr ULONG kFlags = GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
  constexpr ULONG kFirstBytes = 16384;
  constexpr ULONG kMostBytes = 16 << 20;
  ULONG bytes = kFirstBytes;
  while (bytes <= kMostBytes) {
    std::vector<IP_ADAPTER_ADDRESSES> list(bytes / sizeof(IP_ADAPTER_ADDRESSES) + 1);
    ULONG size = static_cast<ULONG>(list.size() * sizeof list[0]);
    const ULONG result = GetAdaptersAddresses(AF_INET, kFlags, nullptr, list.data(), &size);
    if (result == NO_ERROR) {
      return list;
    }
    if (result != ERROR_BUFFER_OVERFLOW) {
      break;
    }
    bytes = std::max(size, bytes * 2);  // adapters may come meanwhile
  }
  return {};
}

std::wstring textOf(const wchar_t* text) {
  return text != nullptr ? std::wstring(text) : std::wstring();
}

// Empty when the system does not tell.
std::wstring computerName(COMPUTER_NAME_FORMAT format) {
  wchar_t name[256];
  DWORD length = 256;
  return GetComputerNameExW(format, name, &length) != FALSE ? std::wstring(name, length) : std::wstring();
}

}  // namespace

std::vector<NetworkAdapter> NetworkAdapters() {
  std::vector<NetworkAdapter> adapters;
  const std::vector<IP_ADAPTER_ADDRESSES> list = adapterList();
  const IP_ADAPTER_ADDRESSES* entry = list.empty() ? nullptr : list.data();
  for (; entry != nullptr; entry = entry->Next) {
    if (entry->OperStatus != IfOperStatusUp) {
      continue;
    }
    NetworkAdapter adapter{textOf(entry->FriendlyName), textOf(entry->Description), entry->IfType, {}};
    for (const auto* unicast = entry->FirstUnicastAddress; unicast != nullptr; unicast = unicast->Next) {
      const SOCKET_ADDRESS& address = unicast->Address;
      if (address.lpSockaddr == nullptr || address.lpSockaddr->sa_family != AF_INET ||
          address.iSockaddrLength < static_cast<INT>(sizeof(sockaddr_in))) {
        continue;
      }
      const auto* place = reinterpret_cast<const sockaddr_in*>(address.lpSockaddr);
      adapter.addresses.push_back(
          {ntohl(place->sin_addr.s_addr), std::min(uint32_t{32}, uint32_t{unicast->OnLinkPrefixLength})});
    }
    adapters.push_back(std::move(adapter));
  }
  return adapters;
}

std::wstring MachineName() {
  return computerName(ComputerNameDnsHostname);
}

std::vector<std::wstring> MachineNames() {
  std::vector<std::wstring> domains{computerName(ComputerNameDnsDomain), computerName(ComputerNamePhysicalDnsDomain)};
  const std::vector<IP_ADAPTER_ADDRESSES> list = adapterList();
  const IP_ADAPTER_ADDRESSES* entry = list.empty() ? nullptr : list.data();
  for (; entry != nullptr; entry = entry->Next) {
    domains.push_back(textOf(entry->DnsSuffix));
  }
  return NamesInDomains(MachineName(), domains);
}

}  // namespace tarnwick::platform
