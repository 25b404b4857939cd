#include "system/cpu_usage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace tarnwick::system {
namespace {

using platform::CpuTimes;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t kSecond = 1'000'000'000;

TEST(UsagePercent, IsTheShareOfTheTimeThatWasNotIdle) {
  constexpr uint64_t kHuge = uint64_t{1} << 62;
  const struct {
    const char* what;
    CpuTimes previous;
    CpuTimes current;
    float expected;
  } cases[] = {
      {"kernel includes idle", {100, 150, 50}, {160, 230, 70}, 40.0f},
      {"no time has passed", {7, 8, 9}, {7, 8, 9}, 0.0f},
      {"idle beyond the total", {0, 0, 0}, {101, 100, 0}, 0.0f},
      {"never idle", {5, 5, 5}, {5, 1005, 2005}, 100.0f},
      {"large differences", {0, 0, 0}, {kHuge / 2, kHuge, 0}, 50.0f},
      {"user runs back further than kernel went", {0, 100, 100}, {0, 105, 90}, 0.0f},
      {"a counter wraps round", {0, std::numeric_limits<uint64_t>::max() - 9, 0}, {50, 90, 0}, 50.0f},
  };
  for (const auto& c : cases) {
    EXPECT_FLOAT_EQ(UsagePercent(c.previous, c.current), c.expected) << c.what;
  }
}

TEST(ProcessorLabel, NamesTheProcessorAndItsCores) {
  EXPECT_EQ(ProcessorLabel(L"Fast 3", 8), L"CPU: Fast 3 (8 cores)");
  EXPECT_EQ(ProcessorLabel(L"", 1), L"CPU: Unknown CPU (1 cores)");
}

// What the machine says; the sampler reads it through source().
struct Machine {
  int64_t now = 77 * kSecond;
  bool tells = true;
  CpuTimes total;
  std::vector<CpuTimes> processors{2};
  int reads = 0;

  CpuTimeSource source() {
    return {[this](CpuTimes& times) {
              ++reads;
              times = total;
              return tells;
            },
            [this](std::vector<CpuTimes>& times) {
              ++reads;
              times = tells ? processors : std::vector<CpuTimes>{};
              return tells;
            },
            [this] { return now; }};
  }
  // A stretch of time in which the processors were busy for so many of 100 units.
  void run(int64_t nanoseconds, uint64_t busy) {
    now += nanoseconds;
    const auto add = [busy](CpuTimes& times) {
      times.idle += 100 - busy;
      times.kernel += 100 - busy;
      times.user += busy;
    };
    add(total);
    for (CpuTimes& times : processors) {
      add(times);
    }
  }
};

TEST(CpuUsageSampler, TheTotalIsTakenAtMostOnceASecond) {
  Machine machine;
  CpuUsageSampler sampler(machine.source());
  machine.run(0, 90);
  EXPECT_EQ(sampler.totalPercent(), 0.0f) << "the first one primes";
  machine.run(kSecond - 1, 25);
  EXPECT_EQ(sampler.totalPercent(), 0.0f) << "too soon";
  machine.run(1, 75);
  EXPECT_FLOAT_EQ(sampler.totalPercent(), 50.0f) << "since the first";
  machine.run(kSecond - 1, 80);
  const int before = machine.reads;
  EXPECT_FLOAT_EQ(sampler.totalPercent(), 50.0f);
  EXPECT_EQ(machine.reads, before);
  machine.now += 1;
  machine.tells = false;
  EXPECT_FLOAT_EQ(sampler.totalPercent(), 50.0f) << "the last known";
  machine.tells = true;
  EXPECT_FLOAT_EQ(sampler.totalPercent(), 80.0f);
}

TEST(CpuUsageSampler, ProcessorsPrimeAgainWhenTheirNumberChanges) {
  Machine machine;
  CpuUsageSampler sampler(machine.source());
  EXPECT_THAT(sampler.processorPercents(true), IsEmpty()) << "the first one primes";
  machine.run(kSecond - 1, 10);
  EXPECT_THAT(sampler.processorPercents(), IsEmpty()) << "too soon";
  machine.run(1, 30);
  EXPECT_THAT(sampler.processorPercents(), ElementsAre(20.0f, 20.0f));
  machine.run(1, 70);
  EXPECT_THAT(sampler.processorPercents(true), ElementsAre(70.0f, 70.0f)) << "forced";
  machine.run(kSecond - 1, 40);
  EXPECT_THAT(sampler.processorPercents(), ElementsAre(70.0f, 70.0f)) << "a second since the forced one";
  machine.processors.push_back(machine.processors[0]);
  machine.run(1, 40);
  EXPECT_THAT(sampler.processorPercents(), IsEmpty()) << "one more processor";
  machine.run(kSecond, 60);
  EXPECT_THAT(sampler.processorPercents(), ElementsAre(60.0f, 60.0f, 60.0f));
  machine.tells = false;
  machine.run(kSecond, 60);
  EXPECT_THAT(sampler.processorPercents(), IsEmpty()) << "the system does not tell";
}

TEST(CpuUsageSampler, ASampleBeforeALongPauseIsNotComparedWith) {
  Machine machine;
  CpuUsageSampler sampler(machine.source());
  const auto both = [&sampler] { return std::pair(sampler.totalPercent(), sampler.processorPercents(true)); };
  both();
  machine.run(5 * kSecond, 30);
  EXPECT_EQ(both(), std::pair(30.0f, std::vector<float>({30.0f, 30.0f})));
  machine.run(5 * kSecond + 1, 90);
  EXPECT_EQ(both(), std::pair(0.0f, std::vector<float>()));
  machine.run(kSecond, 60);
  EXPECT_EQ(both(), std::pair(60.0f, std::vector<float>({60.0f, 60.0f})));
}

TEST(CpuUsageSampler, ReadsThisMachine) {
  int64_t now = 0;
  CpuTimeSource source = SystemCpuTimes();
  source.nanoseconds = [&now] { return now += kSecond; };
  CpuUsageSampler sampler(source);
  sampler.processorPercents();
  sampler.totalPercent();
  const int64_t start = SystemCpuTimes().nanoseconds();
  while (SystemCpuTimes().nanoseconds() - start < kSecond / 10) {  // busy: one processor at least is
  }
  EXPECT_GT(sampler.totalPercent(), 0.0f);
  const std::vector<float> percents = sampler.processorPercents();
  ASSERT_FALSE(percents.empty());
  EXPECT_GT(*std::max_element(percents.begin(), percents.end()), 0.0f);
  const std::wstring end = L" (" + std::to_wstring(percents.size()) + L" cores)";
  EXPECT_TRUE(sampler.displayName().starts_with(L"CPU: ") && sampler.displayName().ends_with(end));
}

}  // namespace
}  // namespace tarnwick::system
