#include "platform/linux/interface_facts.h"

#include <linux/if_arp.h>

#include <charconv>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>

#include "platform/files.h"
#include "platform/network.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr uint32_t kOtherInterface = 1;
constexpr uint32_t kPppInterface = 23;
constexpr uint32_t kWirelessInterface = 71;
constexpr uint32_t kMobileInterface = 243;

// Drivers that say what they are: several look like Ethernet, or like a tunnel, by their hardware type alone.
constexpr struct {
  std::string_view name;
  uint32_t type;
} kDeviceTypes[] = {
    {"wlan", kWirelessInterface},    {"wwan", kMobileInterface},    {"wireguard", kTunnelInterface},
    {"vxlan", kTunnelInterface},     {"geneve", kTunnelInterface},  {"gretap", kTunnelInterface},
    {"ip6gretap", kTunnelInterface}, {"erspan", kTunnelInterface},  {"ip6erspan", kTunnelInterface},
    {"bareudp", kTunnelInterface},   {"l2tpeth", kTunnelInterface},
};

constexpr struct {
  unsigned hardware;
  uint32_t type;
} kHardwareTypes[] = {
    {ARPHRD_ETHER, kEthernetInterface}, {ARPHRD_LOOPBACK, kLoopbackInterface}, {ARPHRD_PPP, kPppInterface},
    {ARPHRD_TUNNEL, kTunnelInterface},  {ARPHRD_TUNNEL6, kTunnelInterface},    {ARPHRD_SIT, kTunnelInterface},
    {ARPHRD_IPGRE, kTunnelInterface},   {ARPHRD_IP6GRE, kTunnelInterface},     {ARPHRD_NONE, kTunnelInterface},
};

std::string textIn(const std::string& path) {
  constexpr size_t kMostBytes = 4096;
  return ReadWholeFile(WideFromUtf8(path), kMostBytes).bytes;
}

// The driver's own word for the kind of device, from the line "DEVTYPE=..."; empty when it has none.
std::string deviceType(const std::string& folder) {
  constexpr std::string_view kKey = "\nDEVTYPE=";
  const std::string text = '\n' + textIn(folder + "/uevent");
  const size_t at = text.find(kKey);
  if (at == std::string::npos) {
    return {};
  }
  const size_t begin = at + kKey.size();
  return text.substr(begin, text.find('\n', begin) - begin);
}

}  // namespace

uint32_t InterfaceTypeIn(const std::string& folder) {
  const std::string device = deviceType(folder);
  for (const auto& known : kDeviceTypes) {
    if (device == known.name) {
      return known.type;
    }
  }
  std::error_code ignored;
  if (std::filesystem::exists(folder + "/tun_flags", ignored)) {  // tun, and tap, which looks like Ethernet
    return kTunnelInterface;
  }
  const std::string text = textIn(folder + "/type");
  unsigned hardware = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), hardware).ec != std::errc{}) {
    return kOtherInterface;
  }
  for (const auto& known : kHardwareTypes) {
    if (hardware == known.hardware) {
      return known.type;
    }
  }
  return kOtherInterface;
}

std::wstring InterfaceDescriptionIn(const std::string& folder) {
  std::error_code none;
  const std::string driver = std::filesystem::read_symlink(folder + "/device/driver", none).filename().string();
  return Trimmed(Trimmed(WideFromUtf8(textIn(folder + "/ifalias"))) + L' ' + WideFromUtf8(driver));
}

}  // namespace tarnwick::platform
