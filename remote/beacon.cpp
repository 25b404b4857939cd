#include "remote/beacon.h"

#include <algorithm>
#include <array>
#include <cwctype>
#include <utility>

#include "text/json_writer.h"

namespace tarnwick::remote {
namespace {

constexpr std::array<std::wstring_view, 9> kVirtualAdapters{
    L"hyper-v", L"vethernet", L"docker", L"vmware", L"virtualbox", L"tailscale", L"zerotier", L"npcap", L"loopback"};

bool namesVirtualAdapter(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t c) { return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c))); });
  return std::any_of(kVirtualAdapters.begin(), kVirtualAdapters.end(),
                     [&text](std::wstring_view part) { return text.find(part) != std::wstring::npos; });
}

bool isReal(const platform::NetworkAdapter& adapter) {
  return adapter.interfaceType != platform::kLoopbackInterface && adapter.interfaceType != platform::kTunnelInterface &&
         !namesVirtualAdapter(adapter.friendlyName) && !namesVirtualAdapter(adapter.description);
}

uint32_t broadcastOf(const platform::Ipv4Address& address) {
  const uint32_t hostBits = address.prefixLength == 0 ? ~uint32_t{0} : (uint32_t{1} << (32 - address.prefixLength)) - 1;
  return address.address | hostBits;
}

}  // namespace

std::vector<BeaconTarget> BeaconTargets(const std::vector<platform::NetworkAdapter>& adapters) {
  std::vector<BeaconTarget> targets;
  for (const platform::NetworkAdapter& adapter : adapters) {
    if (!isReal(adapter)) {
      continue;
    }
    for (const platform::Ipv4Address& address : adapter.addresses) {
      if (address.prefixLength <= 32) {
        targets.push_back({address.address, broadcastOf(address)});
      }
    }
  }
  return targets;
}

std::string ServiceDescriptor(std::wstring_view serverName, std::string_view host, uint16_t port) {
  text::JsonWriter json(512);
  json.open('{').member("service", "Tarnwick").key("serverName").string(serverName).member("host", host);
  json.key("port").natural(port).member("transport", "http").key("protocolVersion").natural(1);
  constexpr std::pair<std::string_view, std::string_view> kPaths[] = {
      {"healthPath", "/healthz"},
      {"statusPath", "/api/status"},
      {"webSocketPath", "/ws"},
      {"startPath", "/api/host/start"},
      {"stopPath", "/api/host/stop"},
      {"hostConfigPath", "/api/host/config"},
      {"addInstancePath", "/api/instances/add"},
      {"removeLastInstancePath", "/api/instances/remove-last"},
      {"bypassAllPath", "/api/bypass-all/toggle"},
      {"testSignalAllPath", "/api/test-signal-all/toggle"},
      {"audioConfigPath", "/api/audio/config"},
  };
  for (const auto& [name, path] : kPaths) {
    json.member(name, path);
  }
  return json.close('}').take();
}

}  // namespace tarnwick::remote
