// With a systemctl of the test's own: PATH has no other folder.
#include "platform/power.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "platform/service_rig.h"
#include "platform/temporary_folder.h"
#include "support/eventually.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;

class PowerTest : public testing::Test {
 protected:
  PowerTest() : path_(std::getenv("PATH")) { setenv("PATH", folder.name("").c_str(), 1); }
  ~PowerTest() override { setenv("PATH", path_.c_str(), 1); }

  const TemporaryFolder folder;

 private:
  const std::string path_;
};

TEST_F(PowerTest, SystemctlIsAskedWithoutWaitingAndLeavesNoZombie) {
  // It goes on only when it is let through the gate, so a call that waited for it would not return.
  const std::string script =
      "#!/bin/sh\nread -r line < \"${0%/*}/gate\"\nprintf '%s ' \"$#\" \"$@\" >> \"${0%/*}/asked\"\n";
  WriteBytes(folder.name("systemctl"), Bytes(script.begin(), script.end()));
  chmod(folder.name("systemctl").c_str(), 0755);
  ASSERT_EQ(mkfifo(folder.name("gate").c_str(), 0600), 0);
  ASSERT_FALSE(HasChildren());
  const Power power = SystemPower();
  const std::pair<const std::function<bool()>&, std::string> cases[] = {{power.restart, "1 reboot "},
                                                                        {power.shutdown, "1 reboot 1 poweroff "}};
  for (const auto& [ask, asked] : cases) {
    EXPECT_TRUE(ask());
    EXPECT_TRUE(HasChildren());
    WriteBytes(folder.name("gate"), {'\n'});
    EXPECT_TRUE(Eventually([] { return !HasChildren(); }));
    const Bytes bytes = ReadBytes(folder.name("asked"));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), asked);
  }
}

TEST_F(PowerTest, ARefusalIsTold) {
  const std::string script = "#!/bin/sh\nexit 1\n";
  WriteBytes(folder.name("systemctl"), Bytes(script.begin(), script.end()));
  chmod(folder.name("systemctl").c_str(), 0755);
  EXPECT_FALSE(SystemPower().restart());
  EXPECT_FALSE(HasChildren());
}

TEST_F(PowerTest, WithoutSystemctlItSaysSo) {
  EXPECT_FALSE(SystemPower().restart());
  EXPECT_FALSE(SystemPower().shutdown());
  EXPECT_FALSE(HasChildren());
}

}  // namespace
}  // namespace tarnwick::platform
