#include "remote/beacon.h"

#include <gtest/gtest.h>

namespace tarnwick::remote {
namespace {

using platform::kEthernetInterface;
using platform::NetworkAdapter;

constexpr uint32_t kAddress = 0x0A4D0005;  // 10.77.0.5

TEST(Beacon, GoesToTheBroadcastOfEachAddressOfARealAdapter) {
  using Places = std::vector<uint32_t>;
  const struct {
    NetworkAdapter adapter;
    Places broadcasts;
  } cases[] = {
      {{L"Ethernet", L"Intel(R) I219-V", kEthernetInterface, {{kAddress, 24}, {kAddress, 30}}},
       {0x0A4D00FF, 0x0A4D0007}},
      {{L"WLAN", L"", 71, {{kAddress, 32}, {kAddress, 0}, {kAddress, 33}}}, {kAddress, 0xFFFFFFFF}},
      {{L"lo", L"", platform::kLoopbackInterface, {{kAddress, 24}}}, {}},
      {{L"tun0", L"", platform::kTunnelInterface, {{kAddress, 24}}}, {}},
      {{L"vEthernet (WSL)", L"", kEthernetInterface, {{kAddress, 24}}}, {}},
      {{L"Ethernet 2", L"Microsoft HYPER-V Network Adapter", kEthernetInterface, {{kAddress, 24}}}, {}},
  };
  for (const auto& c : cases) {
    Places broadcasts;
    for (const BeaconTarget& target : BeaconTargets({c.adapter})) {
      EXPECT_EQ(target.address, kAddress);
      broadcasts.push_back(target.broadcast);
    }
    EXPECT_EQ(broadcasts, c.broadcasts) << c.adapter.friendlyName.c_str();
  }
}

TEST(Beacon, ServiceDescriptor) {
  EXPECT_EQ(
      ServiceDescriptor(L"Hall \"A\" \u00e9", "10.77.0.5", 20831),
      "{\"service\":\"Tarnwick\",\"serverName\":\"Hall \\\"A\\\" \xC3\xA9\",\"host\":\"10.77.0.5\",\"port\":20831,"
      "\"transport\":\"http\",\"protocolVersion\":1,\"healthPath\":\"/healthz\",\"statusPath\":\"/api/status\","
      "\"webSocketPath\":\"/ws\",\"startPath\":\"/api/host/start\",\"stopPath\":\"/api/host/stop\","
      "\"hostConfigPath\":\"/api/host/config\",\"addInstancePath\":\"/api/instances/add\","
      "\"removeLastInstancePath\":\"/api/instances/remove-last\",\"bypassAllPath\":\"/api/bypass-all/toggle\","
      "\"testSignalAllPath\":\"/api/test-signal-all/toggle\",\"audioConfigPath\":\"/api/audio/config\"}");
}

}  // namespace
}  // namespace tarnwick::remote
