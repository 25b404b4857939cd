// Percentiles of measured times.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <vector>

#include "platform/clock.h"

namespace tarnwick::bench {

inline double MicrosecondsOf(int64_t ticks) {
  return static_cast<double>(ticks) * 1e6 / static_cast<double>(platform::CounterFrequency());
}

class Samples {
 public:
  explicit Samples(size_t expected) { ticks_.reserve(expected); }
  void add(int64_t ticks) { ticks_.push_back(ticks); }

  // The sample that `fraction` (0..1) of all lie below, in microseconds; 0.5 is the median.
  double microseconds(double fraction) {
    if (ticks_.empty()) {
      return 0.0;
    }
    const auto at = static_cast<size_t>(fraction * static_cast<double>(ticks_.size() - 1));
    std::nth_element(ticks_.begin(), ticks_.begin() + static_cast<std::ptrdiff_t>(at), ticks_.end());
    return MicrosecondsOf(ticks_[at]);
  }

 private:
  std::vector<int64_t> ticks_;
};

// Ticks that one call of `work` takes.
template <class Work>
int64_t TicksOf(Work work) {
  const int64_t start = platform::CounterNow();
  work();
  return platform::CounterNow() - start;
}

}  // namespace tarnwick::bench
