// Facts that the system tells about itself: network, processors, drives, start-up entry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "platform/cpu_times.h"
#include "platform/network.h"
#include "platform/paths.h"
#include "platform/service_rig.h"
#include "platform/startup_link.h"
#include "platform/temporary_folder.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

TEST(Network, TheLoopbackAdapterIsListedAsOne) {
  bool found = false;
  for (const NetworkAdapter& adapter : NetworkAdapters()) {
    EXPECT_FALSE(adapter.friendlyName.empty());
    for (const Ipv4Address& address : adapter.addresses) {
      EXPECT_LE(address.prefixLength, 32u);
      const bool loopback = address.address >> 24 == 127;
      EXPECT_EQ(loopback, adapter.interfaceType == kLoopbackInterface) << Ipv4Text(address.address);
      found = found || (address.address == 0x7F000001 && address.prefixLength == 8);
    }
  }
  EXPECT_TRUE(found);
  EXPECT_EQ(Ipv4Text(0xC0A80A07), "192.168.10.7");
  EXPECT_FALSE(MachineName().empty());
  EXPECT_EQ(MachineName().find(L'.'), std::wstring::npos);
  EXPECT_EQ(MachineNames().front(), MachineName());
  EXPECT_THAT(NamesInDomains(L"pc", {L"lan", L"", L".", L".hall.example.", L"LAN."}),
              testing::ElementsAre(L"pc", L"pc.lan", L"pc.hall.example"));
  EXPECT_THAT(NamesInDomains(L"", {L"lan"}), testing::IsEmpty());
}

TEST(CpuTimes, ABusySecondShowsInBothAccounts) {
  using std::chrono::steady_clock;
  CpuTimes total[2];
  std::vector<CpuTimes> each[2];
  const auto begin = steady_clock::now();
  ASSERT_TRUE(ReadTotalCpuTimes(total[0]) && ReadProcessorTimes(each[0]));
  while (steady_clock::now() - begin < std::chrono::seconds(1)) {
  }
  ASSERT_TRUE(ReadTotalCpuTimes(total[1]) && ReadProcessorTimes(each[1]));
  ASSERT_EQ(each[0].size(), each[1].size());
  EXPECT_GE(each[0].size(), static_cast<size_t>(ProcessorCount()));
  const auto passed = [](const CpuTimes& from, const CpuTimes& to) {
    return 1e-7 * static_cast<double>(to.kernel - from.kernel + to.user - from.user);
  };
  const auto busy = [&](const CpuTimes& from, const CpuTimes& to) {
    return passed(from, to) - 1e-7 * static_cast<double>(to.idle - from.idle);
  };
  double eachBusy = 0;
  for (size_t k = 0; k < each[0].size(); ++k) {
    eachBusy += busy(each[0][k], each[1][k]);
  }
  const double seconds = std::chrono::duration<double>(steady_clock::now() - begin).count();
  const double processors = ProcessorCount();
  // A virtual machine does not get all of its time, and the account runs in steps of 10 ms.
  EXPECT_NEAR(passed(total[0], total[1]), seconds * processors, 0.3 * processors);
  EXPECT_GE(busy(total[0], total[1]), 0.4);
  EXPECT_LE(busy(total[0], total[1]), (seconds + 0.3) * processors);
  EXPECT_NEAR(eachBusy, busy(total[0], total[1]), 0.2);
  EXPECT_EQ(ProcessorName(), Trimmed(ProcessorName()));
}

TEST(Drives, EachIsAFolder) {
  const std::vector<std::wstring> drives = Drives();
  EXPECT_THAT(drives, testing::Contains(testing::AnyOf(L"/", L"C:\\")));
  for (const std::wstring& drive : drives) {
    EXPECT_TRUE(FolderExists(drive)) << Utf8FromWide(drive);
  }
}

TEST(StartupLink, IsMadeReplacedAndRemoved) {
  const TemporaryFolder folder;
  SetStartupFolder(folder.wide("a $folder"));
  EXPECT_FALSE(StartupLinkExists());
  EXPECT_TRUE(RemoveStartupLink());
  for (int time = 0; time < 2; ++time) {
    EXPECT_TRUE(CreateStartupLink());
    EXPECT_TRUE(StartupLinkExists());
  }
  const std::wstring target = StartupTarget();
  EXPECT_TRUE(FileExists(target));
  EXPECT_NE(target.find(L"service_test"), std::wstring::npos) << Utf8FromWide(target);
  EXPECT_TRUE(RemoveStartupLink());
  EXPECT_FALSE(StartupLinkExists());

  WriteBytes(folder.name("file"), {});
  SetStartupFolder(folder.wide("file"));
  EXPECT_FALSE(CreateStartupLink());
}

}  // namespace
}  // namespace tarnwick::platform
