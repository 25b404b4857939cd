// The beacon on a network of several hosts: each host is a network namespace, each cable a pair of virtual adapters.
// Skipped where namespaces may not be made.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <future>
#include <optional>
#include <thread>

#include "program.h"

namespace tarnwick::tests {
namespace {

using ::testing::HasSubstr;

constexpr uint16_t kBeaconPort = 20831;

bool runs(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// A host with the program, and three others, each on a cable of its own to it.
class BeaconNetwork : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const std::string& host : hosts_) {
      if (!runs("ip netns add " + host)) {
        GTEST_SKIP() << "no network namespaces here";
      }
    }
    cable("stage0", "10.77.1.1/24", hosts_[1], "10.77.1.2/24");
    cable("stage1", "10.77.2.65/26", hosts_[2], "10.77.2.66/26");
    cable("Docker7", "10.77.3.1/24", hosts_[3], "10.77.3.2/24");
  }
  void TearDown() override {
    for (const std::string& host : hosts_) {
      runs("ip netns del " + host);
    }
  }

  void cable(const std::string& adapter, const std::string& address, const std::string& peer,
             const std::string& peerAddress) {
    const std::string& program = hosts_[0];
    ASSERT_TRUE(runs("ip link add " + adapter + " netns " + program + " type veth peer name eth0 netns " + peer));
    ASSERT_TRUE(runs("ip -n " + program + " addr add " + address + " brd + dev " + adapter));
    ASSERT_TRUE(runs("ip -n " + program + " link set " + adapter + " up"));
    ASSERT_TRUE(runs("ip -n " + peer + " addr add " + peerAddress + " brd + dev eth0"));
    ASSERT_TRUE(runs("ip -n " + peer + " link set eth0 up"));
  }

  // The first datagram that reaches a host within the time; nothing when none does.
  static std::optional<std::string> heardOn(const std::string& host, int milliseconds) {
    const int space = open(("/var/run/netns/" + host).c_str(), O_RDONLY | O_CLOEXEC);
    if (space < 0 || setns(space, CLONE_NEWNET) != 0) {  // this thread alone, which ends soon
      return "cannot enter " + host;
    }
    close(space);
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(kBeaconPort);
    std::optional<std::string> heard;
    if (bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
      pollfd ready{socket, POLLIN, 0};
      char bytes[2048];
      if (poll(&ready, 1, milliseconds) == 1) {
        const ssize_t count = recv(socket, bytes, sizeof bytes, 0);
        heard.emplace(bytes, count > 0 ? static_cast<size_t>(count) : 0);
      }
    }
    close(socket);
    return heard;
  }

  const std::string tag_ = "twk" + std::to_string(getpid());
  const std::string hosts_[4] = {tag_ + "p", tag_ + "a", tag_ + "b", tag_ + "c"};
};

TEST_F(BeaconNetwork, ReachesEveryCableButThoseOfVirtualMachines) {
  RunningProgram program({"netns", "exec", hosts_[0], TARNWICK_PROGRAM}, "ip");
  ASSERT_TRUE(program.awaitOutput("Remote control server listening"));
  std::future<std::optional<std::string>> heard[3];
  for (size_t k = 0; k < 3; ++k) {
    heard[k] = std::async(std::launch::async, [host = hosts_[k + 1]] { return heardOn(host, 5000); });
  }
  const char* addresses[] = {"10.77.1.1", "10.77.2.65"};
  for (size_t k = 0; k < 2; ++k) {
    const auto text = heard[k].get();
    ASSERT_TRUE(text) << hosts_[k + 1];
    EXPECT_THAT(*text, ::testing::StartsWith(R"({"service":"Tarnwick","serverName":")"));
    EXPECT_THAT(*text, HasSubstr(std::string(R"(,"host":")") + addresses[k] + R"(","port":20831,)"));
  }
  EXPECT_EQ(heard[2].get(), std::nullopt) << "an adapter of containers";
  program.signal(SIGTERM);
  EXPECT_EQ(program.finish().exitCode, 0);
}

}  // namespace
}  // namespace tarnwick::tests
