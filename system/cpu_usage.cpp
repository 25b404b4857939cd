#include "system/cpu_usage.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <thread>
#include <utility>

#include "platform/clock.h"

namespace tarnwick::system {
namespace {

constexpr int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr int64_t kLongestSpan = 5 * kNanosecondsPerSecond;  // between two samples that are compared

bool secondPassed(int64_t since, int64_t now) {
  return now - since > kNanosecondsPerSecond - 1;
}

int64_t counterNanoseconds() {
  const int64_t ticks = platform::CounterNow();
  const int64_t frequency = platform::CounterFrequency();
  return ticks / frequency * kNanosecondsPerSecond + ticks % frequency * kNanosecondsPerSecond / frequency;
}

size_t processorCount(const CpuTimeSource& source) {
  std::vector<platform::CpuTimes> times;
  const bool told = source.processors && source.processors(times) && !times.empty();
  return told ? times.size() : std::max<size_t>(std::thread::hardware_concurrency(), 1);
}

}  // namespace

float UsagePercent(const platform::CpuTimes& previous, const platform::CpuTimes& current) noexcept {
  // Unsigned differences: a counter that runs back gives one that is far too large.
  constexpr uint64_t kLargest = std::numeric_limits<int64_t>::max();
  const uint64_t total = (current.kernel - previous.kernel) + (current.user - previous.user);
  const uint64_t idle = current.idle - previous.idle;
  if (total == 0 || total > kLargest || idle > total) {
    return 0.0f;
  }
  const float usage = static_cast<float>(total - idle) * 100.0f / static_cast<float>(total);
  return std::clamp(usage, 0.0f, 100.0f);
}

std::wstring ProcessorLabel(const std::wstring& name, size_t processors) {
  return L"CPU: " + (name.empty() ? L"Unknown CPU" : name) + L" (" + std::to_wstring(processors) + L" cores)";
}

CpuTimeSource SystemCpuTimes() {
  return {platform::ReadTotalCpuTimes, platform::ReadProcessorTimes, counterNanoseconds};
}

CpuUsageSampler::CpuUsageSampler(CpuTimeSource source)
    : source_(std::move(source)), displayName_(ProcessorLabel(platform::ProcessorName(), processorCount(source_))) {}

float CpuUsageSampler::totalPercent() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const int64_t now = source_.nanoseconds();
  platform::CpuTimes times;
  if ((hasTotal_ && !secondPassed(totalTime_, now)) || !source_.total(times)) {
    return total_;
  }
  const bool comparable = hasTotal_ && now - totalTime_ <= kLongestSpan;
  total_ = comparable ? UsagePercent(previousTotal_, times) : 0.0f;
  previousTotal_ = times;
  hasTotal_ = true;
  totalTime_ = now;
  return total_;
}

std::vector<float> CpuUsageSampler::processorPercents(bool force) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const int64_t now = source_.nanoseconds();
  if (!previous_.empty() && !force && !secondPassed(processorTime_, now)) {
    return percents_;
  }
  std::vector<platform::CpuTimes> times;
  if (!source_.processors(times)) {
    times.clear();
  }
  percents_.clear();
  // Otherwise there is nothing to compare with: this round only primes.
  if (times.size() == previous_.size() && now - processorTime_ <= kLongestSpan) {
    std::transform(previous_.begin(), previous_.end(), times.begin(), std::back_inserter(percents_), UsagePercent);
  }
  previous_ = std::move(times);
  processorTime_ = now;
  return percents_;
}

}  // namespace tarnwick::system
