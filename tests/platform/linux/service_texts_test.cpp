// Texts of the kernel and the desktop, read and written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/linux/domains.h"
#include "platform/linux/interface_facts.h"
#include "platform/linux/mounts.h"
#include "platform/linux/proc_stat.h"
#include "platform/linux/startup_entry.h"
#include "platform/linux/user_folders.h"
#include "platform/temporary_folder.h"

namespace tarnwick::platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Domains, AreReadWhereSystemsKeepThem) {
  EXPECT_THAT(
      DomainsInResolverSettings("# search no\nsearch lan hall.example. # x\n\tdomain b\nnameserver c.d\nsearch"),
      ElementsAre(L"lan", L"hall.example.", L"b"));
  EXPECT_THAT(
      DomainsInHosts("127.0.1.1 Stage-PC.hall stage-pc\n#::1 stage-pc.no\nstage-pc.no x.stage-pc.y stage-pc2.z\n"
                     "10.0.0.1\tother.lan\tstage-pc.lan",
                     L"stage-pc"),
      ElementsAre(L"hall", L"lan"));
}

TEST(ProcStat, TicksBecomeTimes) {
  const auto account = ParseProcStat(
      "cpu  10 2 30 400 50 6 7 8 9 1\n"
      "cpu0 1 0 0 4\n"
      "cpu2 1 2 3 4 5 6 7 8\n"
      "cpu1x\ncpu3 1 2\ncpu99999999999999999999 1 2 3 4\ncpu70000 1 2 3 4\nintr 5 5\nctxt 7",
      100);
  ASSERT_TRUE(account);
  const auto is = [](const CpuTimes& times, uint64_t idle, uint64_t kernel, uint64_t user) {
    constexpr uint64_t kTick = 100'000;
    return times.idle == idle * kTick && times.kernel == kernel * kTick && times.user == user * kTick;
  };
  EXPECT_TRUE(is(account->total, 450, 501, 12));
  ASSERT_EQ(account->processors.size(), 3u);
  EXPECT_TRUE(is(account->processors[0], 4, 4, 1));
  EXPECT_TRUE(is(account->processors[1], 0, 0, 0)) << "switched off";
  EXPECT_TRUE(is(account->processors[2], 9, 33, 3));
  for (const char* broken : {"", "cpu 1 2 3", "cpu a b c d", "cpu0 1 2 3 4\n"}) {
    EXPECT_FALSE(ParseProcStat(broken, 100)) << broken;
  }
}

TEST(Mounts, AddedDisksInTheirOrder) {
  EXPECT_THAT(AddedMountPoints("proc /proc proc rw 0 0\n"
                               "/dev/sda1 / ext4 rw 0 0\n"
                               "/dev/sdb1 /media/me/My\\040Disk\\134 vfat rw 0 0\n"
                               "nas:/x /mnt/nas nfs4 rw 0 0\n"
                               "/dev/sde1 /mnt/nfs ext4 rw 0 0\n"
                               "/dev/sdc1 /mnt ext4 rw 0 0\n"
                               "/dev/sdd1 /run/media/me/CARD vfat rw 0 0\n"
                               "/dev/sdb1 /media/me/My\\040Disk\\134 vfat rw 0 0\n"
                               "tmpfs /mntx tmpfs rw 0 0\n"
                               "broken\n\n /mnt\n"
                               "x /mnt/cut\\04"),
              ElementsAre("/media/me/My Disk\\", "/mnt/nfs", "/mnt", "/run/media/me/CARD", "/mnt/cut\\04"));
}

TEST(StartupEntry, TheProgramIsQuotedAsTheDesktopReadsIt) {
  const std::pair<const char*, const char*> cases[] = {
      {"/a b/t", "[Desktop Entry]\nType=Application\nName=Tarnwick\nExec=\"/a b/t\"\n"},
      {"/100%/t", "\nExec=\"/100%%/t\"\n"},
      {"/$a`b`/t", "\nExec=\"/\\\\$a\\\\`b\\\\`/t\"\n"},
      {"/a\"b/t", "\nExec=\"/a\\\\\"b/t\"\n"},
      {"/a\\b/t", "\nExec=\"/a\\\\\\\\b/t\"\n"},
      {"/a\nb/t", "\nExec=\"/a\\nb/t\"\n"},
  };
  for (const auto& [program, line] : cases) {
    EXPECT_THAT(DesktopEntryFor(program), HasSubstr(line));
  }
}

TEST(UserFolders, OnlyAbsolutePathsCount) {
  const std::string home = std::getenv("HOME");
  setenv("HOME", "/home/someone", 1);
  setenv("XDG_CONFIG_HOME", "/etc/own", 1);
  EXPECT_EQ(ConfigurationFolder(), "/etc/own");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(ConfigurationFolder(), "/home/someone/.config");
  unsetenv("HOME");
  EXPECT_TRUE(HomeFolder().starts_with('/')) << "the account's";
  setenv("HOME", home.c_str(), 1);
}

TEST(InterfaceFacts, KindsOfInterfaces) {
  const TemporaryFolder folder;
  const auto write = [&folder](const std::string& name, const std::string& text) {
    WriteBytes(folder.name(name), Bytes(text.begin(), text.end()));
  };
  const struct {
    const char* name;
    const char* type;
    const char* uevent;
    uint32_t expected;
  } cases[] = {
      {"eth0", "1\n", "INTERFACE=eth0\nIFINDEX=2\n", 6},
      {"lo", "772\n", "INTERFACE=lo\n", 24},
      {"wlan0", "1\n", "DEVTYPE=wlan\nINTERFACE=wlan0\n", 71},
      {"wwan0", "65534\n", "INTERFACE=wwan0\nDEVTYPE=wwan\n", 243},
      {"tap0", "1\n", "", 131},
      {"wg0", "65534\n", "DEVTYPE=wireguard\n", 131},
      {"sit0", "776\n", "", 131},
      {"br0", "1\n", "DEVTYPE=bridge\n", 6},
      {"odd", "?", "", 1},
  };
  std::filesystem::create_directory(folder.name("tap0"));
  write("tap0/tun_flags", "0x1");
  for (const auto& c : cases) {
    const std::string name = c.name;
    std::filesystem::create_directory(folder.name(name));
    write(name + "/type", c.type);
    write(name + "/uevent", c.uevent);
    EXPECT_EQ(InterfaceTypeIn(folder.name(name)), c.expected) << name;
  }
  EXPECT_EQ(InterfaceTypeIn(folder.name("missing")), 1u);
  std::filesystem::create_directory(folder.name("eth0/device"));
  std::filesystem::create_symlink("../../../bus/pci/drivers/e1000e", folder.name("eth0/device/driver"));
  write("eth0/ifalias", "Stage left\n");
  EXPECT_EQ(InterfaceDescriptionIn(folder.name("eth0")), L"Stage left e1000e");
}

}  // namespace
}  // namespace tarnwick::platform
