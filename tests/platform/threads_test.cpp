#include "platform/threads.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <thread>

namespace tarnwick::platform {
namespace {

TEST(Threads, AffinityIsWhatTheSystemSaysAndLeavesTheSystemMaskAlone) {
  const uint64_t systemMask = SystemAffinityMask();
  ASSERT_NE(systemMask, 0u);
  EXPECT_LE(std::popcount(systemMask), ProcessorCount());
  std::thread([systemMask] {
    EXPECT_EQ(ThreadAffinity(), systemMask);
    const uint64_t one = systemMask & (~systemMask + 1);
    EXPECT_TRUE(SetThreadAffinity(one));
    EXPECT_FALSE(SetThreadAffinity(0));
    if (std::popcount(systemMask) < 64) {
      EXPECT_FALSE(SetThreadAffinity(~systemMask)) << "only processors that are not there";
    }
    EXPECT_EQ(ThreadAffinity(), one);
    EXPECT_EQ(SystemAffinityMask(), systemMask);
  }).join();
}

TEST(Threads, FlushDenormalsTakesThemFromResultsAndOperands) {
  std::thread([] {
    volatile float smallest = std::numeric_limits<float>::min();
    volatile float denormal = std::numeric_limits<float>::denorm_min();
    volatile float half = 0.5f;
    volatile float large = 1e30f;
    ASSERT_NE(smallest * half, 0.0f);
    ASSERT_NE(denormal * large, 0.0f);
    SetFlushDenormals();
    EXPECT_EQ(smallest * half, 0.0f);
    EXPECT_EQ(denormal * large, 0.0f);
  }).join();
}

TEST(Threads, EachHasAWordOfItsOwn) {
  SetThreadWord(5);
  for (const uint64_t word : {uint64_t{1}, ~uint64_t{0}}) {  // a thread that begins where another one has ended
    std::thread([word] {
      EXPECT_EQ(ThreadWord(), 0u);
      SetThreadWord(word);
      EXPECT_EQ(ThreadWord(), word);
    }).join();
  }
  EXPECT_EQ(ThreadWord(), 5u);
  SetThreadWord(0);
}

}  // namespace
}  // namespace tarnwick::platform
