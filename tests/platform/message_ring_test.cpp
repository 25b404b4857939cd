#include "platform/message_ring.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

struct Wide {
  uint64_t producer;
  uint64_t number;
  std::array<uint64_t, 14> pattern;  // more than a cache line, so that a torn value shows

  static Wide make(uint64_t producer, uint64_t number) {
    Wide value{producer, number, {}};
    for (size_t k = 0; k < value.pattern.size(); ++k) {
      value.pattern[k] = (producer * 1'000'003 + number) * (k + 0x9E3779B97F4A7C15u);
    }
    return value;
  }
};

// Runs several producers against one consumer, which begins when `begin` says so. Returns how many values came torn,
// out of order or too often.
template <class Begin>
uint64_t faultsInStress(uint64_t producerCount, uint64_t each, int pauses, Begin begin) {
  MessageRing<Wide, 64> ring;
  std::atomic<uint64_t> refused{0};
  std::vector<std::thread> producers;
  for (uint64_t p = 0; p < producerCount; ++p) {
    producers.emplace_back([&ring, &refused, each, pauses, p] {
      for (uint64_t n = 0; n < each; ++n) {
        const Wide value = Wide::make(p, n);
        for (int k = 0; k < pauses; ++k) {
          Pause();
        }
        while (!ring.push(value)) {
          refused.fetch_add(1, std::memory_order_relaxed);
          std::this_thread::yield();
        }
      }
    });
  }
  while (!begin(refused)) {
    std::this_thread::yield();
  }
  std::vector<uint64_t> next(producerCount);
  uint64_t faults = 0;
  for (uint64_t taken = 0; taken < producerCount * each;) {
    Wide value{};
    if (!ring.pop(value)) {
      Pause();
      continue;
    }
    ++taken;
    const bool known = value.producer < producerCount;
    faults += known && value.number == next[value.producer]++ ? 0 : 1;
    faults += value.pattern == Wide::make(value.producer, value.number).pattern ? 0 : 1;
  }
  for (std::thread& producer : producers) {
    producer.join();
  }
  Wide rest{};
  return faults + (ring.pop(rest) ? 1 : 0);
}

TEST(MessageRing, LosesAndTearsNothingWhenItIsFullAllTheTime) {
  EXPECT_EQ(faultsInStress(4, 5'000, 0, [](const auto& refused) { return refused > 0; }), 0u);
}

// The consumer waits at the very cell that a producer is filling.
TEST(MessageRing, LosesAndTearsNothingWhenItIsEmptyAllTheTime) {
  EXPECT_EQ(faultsInStress(2, 20'000, 20, [](const auto&) { return true; }), 0u);
}

}  // namespace
}  // namespace tarnwick::platform
