#include "system/cpu_usage.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <ratio>
#include <thread>
#include <utility>

#include "platform/clock.h"

namespace tarnwick::system {
namespace {

using std::chrono::nanoseconds;

constexpr std::chrono::seconds kShortestSpan{1};  // between two samples
constexpr std::chrono::seconds kLongestSpan{5};   // between two that are compared

nanoseconds counterTime() {
  const int64_t ticks = platform::CounterNow();
  const int64_t frequency = platform::CounterFrequency();
  return std::chrono::seconds(ticks / frequency) + nanoseconds(ticks % frequency * std::nano::den / frequency);
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
  return {platform::ReadTotalCpuTimes, platform::ReadProcessorTimes, counterTime};
}

CpuUsageSampler::CpuUsageSampler(CpuTimeSource source)
    : source_(std::move(source)), displayName_(ProcessorLabel(platform::ProcessorName(), processorCount(source_))) {}

CpuUsage CpuUsageSampler::usage(bool force) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const nanoseconds now = source_.now();
  if (sampled_ && !force && now - *sampled_ < kShortestSpan) {
    return usage_;
  }
  const bool comparable = sampled_ && now - *sampled_ <= kLongestSpan;
  sampled_ = now;

  platform::CpuTimes total;
  if (source_.total(total)) {
    usage_.total = comparable && previousTotal_ ? UsagePercent(*previousTotal_, total) : 0.0f;
    previousTotal_ = total;
  }
  std::vector<platform::CpuTimes> processors;
  if (!source_.processors(processors)) {
    processors.clear();
  }
  usage_.processors.clear();
  if (comparable && processors.size() == previousProcessors_.size()) {
    std::transform(previousProcessors_.begin(), previousProcessors_.end(), processors.begin(),
                   std::back_inserter(usage_.processors), UsagePercent);
  }
  previousProcessors_ = std::move(processors);
  return usage_;
}

}  // namespace tarnwick::system
