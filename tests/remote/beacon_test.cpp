#include "remote/beacon.h"

#include <gtest/gtest.h>

namespace tarnwick::remote {
namespace {

using platform::kEthernetInterface;
using platform::NetworkAdapter;

constexpr uint32_t kAddress = 0x0A4D0005;  // 10.77.0.5

TEST(Beacon, GoesToRealAdaptersOnly) {
  const struct {
    NetworkAdapter adapter;
    bool real;
  } cases[] = {
      {{L"Ethernet", L"Intel(R) I219-V", kEthernetInterface, {}}, true},
      {{L"WLAN", L"", 71, {}}, true},
      {{L"lo", L"", platform::kLoopbackInterface, {}}, false},
      {{L"tun0", L"", platform::kTunnelInterface, {}}, false},
      {{L"vEthernet (WSL)", L"", kEthernetInterface, {}}, false},
      {{L"Ethernet 2", L"Microsoft HYPER-V Network Adapter", kEthernetInterface, {}}, false},
  };
  for (const auto& c : cases) {
    NetworkAdapter adapter = c.adapter;
    adapter.addresses = {{kAddress, 24}};
    EXPECT_EQ(BeaconTargets({adapter}).size(), c.real ? 1u : 0u) << adapter.friendlyName.c_str();
  }
}

TEST(Beacon, GoesToEachAddressesBroadcast) {
  NetworkAdapter adapter{L"eth0", L"", kEthernetInterface, {}};
  adapter.addresses = {{kAddress, 24}, {kAddress, 30}, {kAddress, 32}, {kAddress, 0}, {kAddress, 33}};
  std::vector<uint32_t> broadcasts;
  for (const BeaconTarget& target : BeaconTargets({adapter, adapter})) {
    EXPECT_EQ(target.address, kAddress);
    broadcasts.push_back(target.broadcast);
  }
  EXPECT_EQ(broadcasts, (std::vector<uint32_t>{0x0A4D00FF, 0x0A4D0007, kAddress, 0xFFFFFFFF,  //
                                               0x0A4D00FF, 0x0A4D0007, kAddress, 0xFFFFFFFF}));
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
