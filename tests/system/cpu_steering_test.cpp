#include "system/cpu_steering.h"

#include <gtest/gtest.h>

#include <bit>
#include <set>
#include <thread>

#include "platform/threads.h"
#include "system/priority.h"

namespace tarnwick::system {
namespace {

constexpr uint64_t kAll64 = ~uint64_t{0};

TEST(GroupMask, ChoiceIsLimitedToTheMachineAndAnEmptyOneMeansAll) {
  struct Case {
    uint64_t chosen;
    uint64_t systemMask;
    uint64_t expected;
  };
  const Case cases[] = {
      {0b0110, 0b1111, 0b0110}, {0b0110, 0b0011, 0b0010},
      {0, 0b1111, 0b1111},      {0b11110000, 0b1111, 0b1111},  // only processors that are not there
      {kAll64, 0b1010, 0b1010}, {uint64_t{1} << 63, kAll64, uint64_t{1} << 63},
      {0b0001, 0b0110, 0b0110},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(GroupMask(c.chosen, c.systemMask), c.expected) << c.chosen << " of " << c.systemMask;
  }
}

TEST(OwnProcessMask, IsTheUnionOfTheGroupsInsideTheProcess) {
  struct Case {
    SteeringMasks masks;
    uint64_t systemMask;
    uint64_t expected;
  };
  const Case cases[] = {
      {{0b0001, 0b0010, 0b0100, 0b1000, 0}, 0b11111111, 0b1111},
      {{0b0001, 0, 0, 0, 0b10000000}, 0b11111111, 0b0001},  // the other processes' group does not count
      {{0, 0, 0, 0, 0}, 0b1111, 0b1111},                    // none chosen
      {{0, 0, 0, 0, 0b0001}, 0b1111, 0b1111},               // none chosen for the own process
      {{0b110000, 0, 0, 0b0010, 0}, 0b1111, 0b0010},        // one group names absent processors only
      {{0b110000, 0b110000, 0b110000, 0b110000, 0}, 0b1111, 0b1111},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OwnProcessMask(c.masks, c.systemMask), c.expected);
  }
}

TEST(FallbackSystemMask, HasTheLowestBits) {
  struct Case {
    int32_t processors;
    uint64_t expected;
  };
  const Case cases[] = {{1, 1}, {2, 3}, {6, 0x3F}, {63, kAll64 >> 1}, {64, kAll64}, {200, kAll64}, {0, 1}, {-3, 1}};
  for (const Case& c : cases) {
    EXPECT_EQ(FallbackSystemMask(c.processors), c.expected) << c.processors;
  }
}

TEST(MaskText, ListsTheProcessorsInAscendingOrder) {
  struct Case {
    uint64_t mask;
    const wchar_t* expected;
  };
  const Case cases[] = {
      {0, L"All CPUs (fallback)"},
      {1, L"0"},
      {0b1101, L"0, 2, 3"},
      {(uint64_t{1} << 63) | (uint64_t{1} << 10), L"10, 63"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MaskText(c.mask), c.expected);
  }
}

TEST(SetSteeringMask, BeginsAGenerationOnlyWhenAMaskDiffers) {
  CpuSteering steering;
  std::set<uint32_t> seen{steering.generation.load()};
  SetSteeringMask(steering, SteeringGroup::playback, 6);
  EXPECT_EQ(ChosenMasks(steering), (SteeringMasks{0, 0, 6, 0, 0}));
  EXPECT_TRUE(seen.insert(steering.generation.load()).second);
  SetSteeringMask(steering, SteeringGroup::playback, 6);
  EXPECT_FALSE(seen.insert(steering.generation.load()).second) << "nothing changed";
  SetSteeringMasks(steering, {1, 2, 3, 4, 5});
  EXPECT_EQ(ChosenMasks(steering), (SteeringMasks{1, 2, 3, 4, 5}));
  EXPECT_TRUE(seen.insert(steering.generation.load()).second);
}

TEST(SetSteeringMask, GenerationThatWrapsIsStillAppliedByANewThread) {
  CpuSteering steering;
  steering.generation = UINT32_MAX;
  SetSteeringMask(steering, SteeringGroup::engine, 1);
  std::thread([&steering] {
    ThreadSteering thread;
    EXPECT_TRUE(ApplyIfChanged(steering, SteeringGroup::engine, thread));
  }).join();
}

TEST(ApplyIfChanged, AThreadFollowsItsOwnGroupOncePerGeneration) {
  const uint64_t systemMask = SystemMask();
  const uint64_t lowest = systemMask & (~systemMask + 1);
  const uint64_t highest = std::bit_floor(systemMask);
  CpuSteering steering;
  std::thread([&] {
    ThreadSteering thread;
    SetSteeringMasks(steering, {highest, lowest, 0, 0, 0});
    EXPECT_TRUE(ApplyIfChanged(steering, SteeringGroup::record, thread));
    EXPECT_TRUE(thread.granted);
    EXPECT_EQ(platform::ThreadAffinity(), lowest);

    ASSERT_TRUE(platform::SetThreadAffinity(systemMask));  // would be undone if the same generation were applied again
    EXPECT_FALSE(ApplyIfChanged(steering, SteeringGroup::record, thread));
    EXPECT_EQ(platform::ThreadAffinity(), systemMask);

    SetSteeringMask(steering, SteeringGroup::record, highest);
    EXPECT_TRUE(ApplyIfChanged(steering, SteeringGroup::record, thread));
    EXPECT_EQ(platform::ThreadAffinity(), highest);

    SetSteeringMask(steering, SteeringGroup::record, ~systemMask);  // nothing that exists: all processors again
    EXPECT_TRUE(ApplyIfChanged(steering, SteeringGroup::record, thread));
    EXPECT_EQ(platform::ThreadAffinity(), systemMask);
  }).join();
  EXPECT_EQ(SystemMask(), systemMask) << "limiting a thread may not shrink what the process can use";
}

TEST(ClampPriorityIndex, BringsAnyStoredNumberIntoTheTable) {
  struct Case {
    int32_t stored;
    int32_t index;
    int32_t threadPriority;
  };
  const Case cases[] = {{INT32_MIN, 0, -15}, {-1, 0, -15}, {0, 0, -15}, {1, 1, -1}, {2, 2, 0},
                        {3, 3, 1},           {4, 4, 2},    {5, 5, 15},  {6, 5, 15}, {INT32_MAX, 5, 15}};
  for (const Case& c : cases) {
    EXPECT_EQ(ClampPriorityIndex(c.stored), c.index);
    EXPECT_EQ(PriorityAt(c.stored).threadPriority, c.threadPriority);
  }
}

}  // namespace
}  // namespace tarnwick::system
