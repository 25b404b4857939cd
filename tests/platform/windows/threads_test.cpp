// Every claim of the seam is compared with what Windows says of the thread.
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <thread>

#include "platform/threads.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

TEST(WindowsThreads, RunsOnTheProcessorThatIsLeftToIt) {
  std::thread([] {
    for (uint64_t left = SystemAffinityMask(); left != 0; left &= left - 1) {
      ASSERT_TRUE(SetThreadAffinity(left & (~left + 1)));
      EXPECT_EQ(GetCurrentProcessorNumber(), static_cast<DWORD>(std::countr_zero(left)));
    }
  }).join();
}

TEST(WindowsThreads, PriorityLevels) {
  const struct {
    int32_t asked;
    int32_t granted;
  } cases[] = {{15, 15}, {2, 2}, {1, 1}, {0, 0}, {-1, -1}, {-15, -15}, {1, 1}, {99, 15}, {7, 2}, {-7, -1}, {-99, -15}};
  std::thread([&cases] {
    for (const auto& c : cases) {
      EXPECT_EQ(SetThreadPriorityLevel(c.asked), c.granted) << "asked for " << c.asked;
      EXPECT_EQ(GetThreadPriority(GetCurrentThread()), c.granted) << "asked for " << c.asked;
    }
  }).join();
}

TEST(WindowsThreads, ProAudioIsAskedForOnceAndUndone) {
  PrepareThreads();
  for (const RealtimeUse use : {RealtimeUse::blocks, RealtimeUse::spins}) {
    std::thread([use] {
      RealtimeRegistration registration;
      RegisterProAudio(use, registration);
      EXPECT_TRUE(registration.registered);
      EXPECT_EQ(registration.grant == RealtimeGrant::mmcss, registration.handle != nullptr);
      EXPECT_EQ(registration.grant == RealtimeGrant::none, registration.handle == nullptr);
      const RealtimeRegistration before = registration;
      RegisterProAudio(use, registration);
      EXPECT_EQ(registration.handle, before.handle);
      EXPECT_EQ(registration.taskIndex, before.taskIndex);
      RevertProAudio(registration);
      EXPECT_FALSE(registration.registered);
      EXPECT_EQ(registration.grant, RealtimeGrant::none);
      RevertProAudio(registration);
    }).join();
  }
}

TEST(WindowsThreads, NameIsShownToTheSystem) {
  using ReadFunction = HRESULT(WINAPI*)(HANDLE thread, wchar_t * *description);
  const auto read = FunctionOf<ReadFunction>(GetModuleHandleW(L"kernel32.dll"), "GetThreadDescription");
  if (read == nullptr) {
    GTEST_SKIP() << "this system does not tell a thread's name";
  }
  std::thread([read] {
    for (const std::string name : {"pool 12", "a name that is far too long"}) {
      SetThreadName(name.c_str());
      wchar_t* shown = nullptr;
      ASSERT_GE(read(GetCurrentThread(), &shown), 0);
      EXPECT_EQ(std::wstring(shown), std::wstring(name.begin(), name.end()).substr(0, 15));
      LocalFree(shown);
    }
  }).join();
}

}  // namespace
}  // namespace tarnwick::platform
