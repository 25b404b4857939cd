#include "system/cpu_steering.h"

#include <gtest/gtest.h>

#include <bit>
#include <thread>

#include "platform/threads.h"

namespace tarnwick::system {
namespace {

TEST(OwnProcessMask, IsTheUnionOfTheGroupsInsideTheProcess) {
  const struct {
    SteeringMasks masks;
    uint64_t systemMask;
    uint64_t expected;
  } cases[] = {
      {{0b0001, 0b0010, 0b0100, 0b1000, 0}, 0b11111111, 0b1111},
      {{0b0001, 0, 0, 0, 0b10000000}, 0b11111111, 0b0001},  // the other processes' group does not count
      {{0, 0, 0, 0, 0b0001}, 0b1111, 0b1111},               // none chosen for the own process
      {{0b110000, 0, 0, 0b0010, 0}, 0b1111, 0b0010},        // one group names absent processors only
      {{0b110000, 0b110000, 0b110000, 0b110000, 0}, 0b1111, 0b1111},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(OwnProcessMask(c.masks, c.systemMask), c.expected);
  }
}

TEST(ProcessorsForGroup, AGroupWithoutAChoiceKeepsToTheProcessWhereThatBindsIt) {
  const struct {
    SteeringMasks masks;
    SteeringGroup group;
    uint64_t bound;  // where the process binds its threads
    uint64_t free;
  } cases[] = {
      {{0, 0, 0, 0, 0}, SteeringGroup::engine, 0b1111, 0b1111},
      {{0b0001, 0, 0, 0b0100, 0b1000}, SteeringGroup::record, 0b0101, 0b1111},
      {{0b0001, 0, 0, 0b0100, 0b1000}, SteeringGroup::engine, 0b0001, 0b0001},
      {{0b110001, 0b110000, 0, 0, 0}, SteeringGroup::record, 0b0001, 0b1111},  // chose absent processors only
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ProcessorsForGroup(c.masks, c.group, 0b1111, true), c.bound) << &c - cases;
    EXPECT_EQ(ProcessorsForGroup(c.masks, c.group, 0b1111, false), c.free) << &c - cases;
  }
}

TEST(FallbackSystemMask, HasTheLowestBits) {
  constexpr uint64_t kAll64 = ~uint64_t{0};
  const std::pair<int32_t, uint64_t> cases[] = {{0, 1}, {6, 0x3F}, {63, kAll64 >> 1}, {64, kAll64}, {200, kAll64}};
  for (const auto& [processors, expected] : cases) {
    EXPECT_EQ(FallbackSystemMask(processors), expected) << processors;
  }
}

TEST(MaskText, ListsTheProcessorsInAscendingOrder) {
  EXPECT_EQ(MaskText(0), L"All CPUs (fallback)");
  EXPECT_EQ(MaskText((uint64_t{1} << 63) | (uint64_t{1} << 10)), L"10, 63");
}

TEST(SteeringDifferences, NameEachGroupThatDidNotGetItsProcessors) {
  SteeringReport report;
  report.groups[0] = {0b0011, 0b0001, true};
  report.groups[1] = {0, 0b0001, false};
  report.groups[3] = {0b0100, 0b1111, true};
  EXPECT_EQ(SteeringDifferences(report),
            L"Engine: processors 0, 1 were asked for; its threads run on 0.\n"
            L"Network/UI: processors 2 were asked for; its threads run on 0, 1, 2, 3.");
}

TEST(SetSteeringMask, BeginsAGenerationOnlyWhenAMaskDiffers) {
  CpuSteering steering;
  const uint32_t first = steering.generation.load();
  SetSteeringMask(steering, SteeringGroup::playback, 6);
  EXPECT_EQ(ChosenMasks(steering), (SteeringMasks{0, 0, 6, 0, 0}));
  const uint32_t second = steering.generation.load();
  EXPECT_NE(second, first);
  SetSteeringMask(steering, SteeringGroup::playback, 6);
  EXPECT_EQ(steering.generation.load(), second) << "nothing changed";
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

    EXPECT_EQ(ReportSteering(steering).groups[1].running, highest);
    EXPECT_EQ(SteeringDifferences(ReportSteering(steering)), L"");

    SetSteeringMask(steering, SteeringGroup::record, ~systemMask);  // nothing that exists: as without a choice
    EXPECT_TRUE(ApplyIfChanged(steering, SteeringGroup::record, thread));
    EXPECT_EQ(platform::ThreadAffinity(), platform::ProcessBindsThreads() ? highest : systemMask);
  }).join();
  EXPECT_FALSE(ReportSteering(steering).groups[1].refused);
  EXPECT_EQ(SystemMask(), systemMask) << "limiting a thread may not shrink what the process can use";
}

}  // namespace
}  // namespace tarnwick::system
