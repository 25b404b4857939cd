// How long blocks take: the counters that each block adds to, and the line that the status log gets of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "engine/engine.h"

namespace tarnwick::engine {

inline constexpr std::chrono::milliseconds kTimingReportInterval{10'000};

// Adds a block that began at counter value `start` and ends now; `hostRan`: it processed instances. Callback; real-time
// safe.
void AddBlockTime(Engine& engine, int64_t start, bool hostRan) noexcept;

// Sets the report's counters to zero and its clock to now, and forgets what the last device's thread was granted.
// User-interface thread, before a device starts.
void ResetTiming(Engine& engine);

// The line for the status log, at most once in an interval while the host runs. `now` is the platform's millisecond
// tick. Any thread but the callback's; of several callers one gets the line.
std::optional<std::wstring> TimingReport(Engine& engine, std::chrono::milliseconds now);

}  // namespace tarnwick::engine
