#include "engine/timing_report.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "platform/clock.h"

namespace tarnwick::engine {
namespace {

void raiseTo(std::atomic<uint64_t>& maximum, uint64_t value) noexcept {
  uint64_t seen = maximum.load(std::memory_order_relaxed);
  while (value > seen && !maximum.compare_exchange_weak(seen, value, std::memory_order_relaxed)) {
  }
}

}  // namespace

void AddBlockTime(Engine& engine, int64_t start, bool hostRan) noexcept {
  const int64_t end = engine.counterNow();
  EngineCounters& counters = engine.counters;
  const auto ticks = static_cast<uint64_t>(std::max<int64_t>(0, end - start));
  if (ticks > 0) {
    counters.timedTicks.fetch_add(ticks, std::memory_order_relaxed);
    counters.timedCount.fetch_add(1, std::memory_order_relaxed);
    raiseTo(counters.maxTicks, ticks);
  }
  if (hostRan) {
    counters.hostTicks.fetch_add(ticks, std::memory_order_relaxed);
    counters.hostCount.fetch_add(1, std::memory_order_relaxed);
    raiseTo(counters.hostMaxTicks, ticks);
  }
}

void ResetTiming(Engine& engine) {
  engine.granted.callback.store(-1);  // the device's thread is a new one
  EngineCounters& counters = engine.counters;
  for (std::atomic<uint64_t>* counter : {&counters.timedTicks, &counters.timedCount, &counters.maxTicks}) {
    counter->store(0);
  }
  counters.lastReportTick.store(std::chrono::milliseconds(platform::TickMilliseconds()));
}

std::optional<std::wstring> TimingReport(Engine& engine, std::chrono::milliseconds now) {
  EngineCounters& counters = engine.counters;
  std::chrono::milliseconds last = counters.lastReportTick.load();
  if (!engine.hostRunning.load() || now - last < kTimingReportInterval ||
      !counters.lastReportTick.compare_exchange_strong(last, now)) {
    return std::nullopt;
  }
  const uint64_t ticks = counters.timedTicks.exchange(0);
  const uint64_t maximum = counters.maxTicks.exchange(0);
  const uint64_t count = counters.timedCount.exchange(0);
  if (count == 0) {
    return std::nullopt;
  }
  const double perMillisecond = static_cast<double>(platform::CounterFrequency()) / 1000.0;
  wchar_t line[128];
  std::swprintf(line, std::size(line), L"ASIO callback (10s): avg=%.3f ms, max=%.3f ms, count=%llu",
                static_cast<double>(ticks) / (static_cast<double>(count) * perMillisecond),
                static_cast<double>(maximum) / perMillisecond, static_cast<unsigned long long>(count));
  return line;
}

}  // namespace tarnwick::engine
