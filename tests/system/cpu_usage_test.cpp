#include "system/cpu_usage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace tarnwick::system {
namespace {

using platform::CpuTimes;

constexpr std::chrono::nanoseconds kSecond = std::chrono::seconds(1);
constexpr std::chrono::nanoseconds kTick{1};

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

// The machine's words; the sampler reads it through source().
struct Machine {
  std::chrono::nanoseconds now = 77 * kSecond;
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
  void run(std::chrono::nanoseconds span, uint64_t busy) {
    now += span;
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

using Processors = std::vector<float>;

TEST(CpuUsageSampler, SamplesTotalAndProcessorsTogetherOnceASecond) {
  Machine machine;
  CpuUsageSampler sampler(machine.source());
  const auto expect = [&sampler](const char* when, float total, const Processors& processors, bool force = false) {
    const CpuUsage usage = sampler.usage(force);
    EXPECT_FLOAT_EQ(usage.total, total) << when;
    EXPECT_EQ(usage.processors, processors) << when;
  };
  machine.run({}, 90);
  expect("the first one primes", 0.0f, {});
  machine.run(kSecond - kTick, 25);
  expect("too soon", 0.0f, {});
  machine.run(kTick, 75);
  expect("since the first", 50.0f, {50.0f, 50.0f});
  machine.run(kSecond - kTick, 80);
  const int before = machine.reads;
  expect("too soon again", 50.0f, {50.0f, 50.0f});
  EXPECT_EQ(machine.reads, before);
  expect("forced", 80.0f, {80.0f, 80.0f}, true);
  machine.run(kSecond - kTick, 40);
  expect("too soon after the forced one", 80.0f, {80.0f, 80.0f});
  machine.processors.push_back(machine.processors[0]);
  machine.run(kTick, 40);
  expect("one processor more", 40.0f, {});
  machine.run(kSecond, 60);
  expect("all of them", 60.0f, {60.0f, 60.0f, 60.0f});
  machine.tells = false;
  machine.run(kSecond, 90);
  expect("the system does not tell", 60.0f, {});
  machine.tells = true;
  machine.run(5 * kSecond, 90);
  expect("the processors were not told before", 90.0f, {});
  machine.run(5 * kSecond + kTick, 30);
  expect("after a long pause", 0.0f, {});
  machine.run(5 * kSecond, 30);
  expect("the longest span", 30.0f, {30.0f, 30.0f, 30.0f});
}

TEST(CpuUsageSampler, ReadsThisMachine) {
  std::chrono::nanoseconds now{};
  CpuTimeSource source = SystemCpuTimes();
  source.now = [&now] { return now += kSecond; };
  CpuUsageSampler sampler(source);
  sampler.usage();
  const std::chrono::nanoseconds start = SystemCpuTimes().now();
  while (SystemCpuTimes().now() - start < kSecond / 10) {  // busy: one processor at least is
  }
  const CpuUsage usage = sampler.usage();
  EXPECT_GT(usage.total, 0.0f);
  ASSERT_FALSE(usage.processors.empty());
  EXPECT_GT(*std::max_element(usage.processors.begin(), usage.processors.end()), 0.0f);
  const std::wstring end = L" (" + std::to_wstring(usage.processors.size()) + L" cores)";
  EXPECT_TRUE(sampler.displayName().starts_with(L"CPU: ") && sampler.displayName().ends_with(end));
}

}  // namespace
}  // namespace tarnwick::system
