// How busy the processors are, from two readings of their time counters.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
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
  std::function<std::chrono::nanoseconds()> now;  // monotonic
};
CpuTimeSource SystemCpuTimes();

// Percentages of the time between two samples, 0..100.
struct CpuUsage {
  float total = 0.0f;
  std::vector<float> processors;  // by processor number; empty when there is nothing to compare with
};

// Any thread: one lock around each call. A sample reads the total and every processor together, at most once a second.
// The first one only primes, and so does one after a pause of more than 5 s, whose mean would say nothing about now.
class CpuUsageSampler {
 public:
  explicit CpuUsageSampler(CpuTimeSource source = SystemCpuTimes());

  // Of the last full second; takes a new sample when a second has passed, or at once with `force`. Before the second
  // sample the total is 0. The processors are empty until then, in the sample after their number has changed, and when
  // the system does not tell; a total that the system does not tell stays as it was.
  CpuUsage usage(bool force = false);
  // "CPU: NAME (8 cores)"; the name "Unknown CPU" when the system does not tell.
  const std::wstring& displayName() const noexcept { return displayName_; }

 private:
  std::mutex mutex_;
  CpuTimeSource source_;
  std::wstring displayName_;
  std::optional<std::chrono::nanoseconds> sampled_;  // time of the last sample
  std::optional<platform::CpuTimes> previousTotal_;  // of the last sample, as far as the system told
  std::vector<platform::CpuTimes> previousProcessors_;
  CpuUsage usage_;
};

}  // namespace tarnwick::system
