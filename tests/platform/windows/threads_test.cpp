// Every claim of the seam is compared with what Windows says of the thread.
#include <gtest/gtest.h>

#include <thread>

#include "platform/threads.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

TEST(WindowsThreads, PriorityLevels) {
  const struct {
    int32_t asked;
    int32_t granted;
  } cases[] = {{15, 15}, {2, 2}, {0, 0}, {-15, -15}, {99, 15}, {7, 2}, {-7, -1}, {-99, -15}};
  std::thread([&cases] {
    for (const auto& c : cases) {
      EXPECT_EQ(SetThreadPriorityLevel(c.asked), c.granted) << "asked for " << c.asked;
      EXPECT_EQ(GetThreadPriority(GetCurrentThread()), c.granted) << "asked for " << c.asked;
    }
  }).join();
}

TEST(WindowsThreads, ProAudioIsAskedForOnceAndUndone) {
  PrepareThreads();
  std::thread([] {
    RealtimeRegistration registration;
    RegisterProAudio(RealtimeUse::blocks, registration);
    EXPECT_TRUE(registration.registered);
    EXPECT_EQ(registration.grant, registration.handle != nullptr ? RealtimeGrant::mmcss : RealtimeGrant::none);
    const RealtimeRegistration before = registration;
    RegisterProAudio(RealtimeUse::blocks, registration);
    EXPECT_EQ(registration.handle, before.handle);
    RevertProAudio(registration);
    EXPECT_FALSE(registration.registered);
    EXPECT_EQ(registration.grant, RealtimeGrant::none);
    RevertProAudio(registration);
  }).join();
}

}  // namespace
}  // namespace tarnwick::platform
