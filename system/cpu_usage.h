// How busy the processors are, from two readings of their time counters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/cpu_times.h"

namespace tarnwick::system {

// Share of the time between two readings that was not idle, 0..100. 0 when no time has passed or the counters do not
// fit together.
float UsagePercent(const platform::CpuTimes& previous, const platform::CpuTimes& current) noexcept;

// "CPU: NAME (8 cores)"; an empty name is shown as "Unknown CPU".
std::wstring ProcessorLabel(const std::wstring& name, size_t processors);

// Where the sampler reads; a test hands it its own.
struct CpuTimeSource {
  std::function<bool(platform::CpuTimes&)> total;
  std::function<bool(std::vector<platform::CpuTimes>&)> processors;
  std::function<int64_t()> nanoseconds;  // monotonic
};
CpuTimeSource SystemCpuTimes();

// Any thread: one lock around each call. The first sample only primes, and so does one after a pause of more than 5 s,
// whose mean would say nothing about now. Readings are taken at most once a second.
class CpuUsageSampler {
 public:
  explicit CpuUsageSampler(CpuTimeSource source = SystemCpuTimes());

  // The total usage of the last full second, 0..100; takes a new sample when a second has passed. 0 before the second
  // sample.
  float totalPercent();
  // By processor number, of the same second rule; `force` takes a new sample at once. Empty before the second sample,
  // in the round after the number of processors has changed, and when the system does not tell.
  std::vector<float> processorPercents(bool force = false);
  // "CPU: NAME (8 cores)"; the name "Unknown CPU" when the system does not tell.
  const std::wstring& displayName() const noexcept { return displayName_; }

 private:
  std::mutex mutex_;
  CpuTimeSource source_;
  std::wstring displayName_;
  platform::CpuTimes previousTotal_;
  bool hasTotal_ = false;
  int64_t totalTime_ = 0;
  float total_ = 0.0f;
  std::vector<platform::CpuTimes> previous_;
  int64_t processorTime_ = 0;
  std::vector<float> percents_;
};

}  // namespace tarnwick::system
