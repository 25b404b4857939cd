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

TEST(Power, SystemctlIsAskedWithoutWaitingAndARefusalIsTold) {
  const TemporaryFolder folder;
  const std::string path = std::getenv("PATH");
  setenv("PATH", folder.name("").c_str(), 1);
  const auto writeSystemctl = [&folder](const std::string& script) {
    WriteBytes(folder.name("systemctl"), Bytes(script.begin(), script.end()));
    chmod(folder.name("systemctl").c_str(), 0755);
  };
  const Power power = SystemPower();
  ASSERT_FALSE(HasChildren());
  EXPECT_FALSE(power.restart()) << "there is none";
  writeSystemctl("#!/bin/sh\nexit 1\n");
  EXPECT_FALSE(power.shutdown());
  EXPECT_FALSE(HasChildren());

  // It goes on only when it is let through the gate, so a call that waited for it would not return.
  writeSystemctl("#!/bin/sh\nread -r line < \"${0%/*}/gate\"\nprintf '%s ' \"$#\" \"$@\" >> \"${0%/*}/asked\"\n");
  ASSERT_EQ(mkfifo(folder.name("gate").c_str(), 0600), 0);
  const std::pair<const std::function<bool()>&, std::string> cases[] = {{power.restart, "1 reboot "},
                                                                        {power.shutdown, "1 reboot 1 poweroff "}};
  for (const auto& [ask, asked] : cases) {
    EXPECT_TRUE(ask());
    EXPECT_TRUE(HasChildren());
    WriteBytes(folder.name("gate"), {'\n'});
    EXPECT_TRUE(tests::Eventually([] { return !HasChildren(); })) << "it leaves no zombie";
    const Bytes bytes = ReadBytes(folder.name("asked"));
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), asked);
  }
  setenv("PATH", path.c_str(), 1);
}

}  // namespace
}  // namespace tarnwick::platform
