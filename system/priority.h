// The priorities that the settings offer: an index stands for a process class and a thread priority.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/processes.h"

namespace tarnwick::system {

using platform::ProcessClass;

struct Priority {
  const wchar_t* name;  // as shown
  ProcessClass processClass;
  int32_t threadPriority;  // for platform::SetThreadPriorityLevel
};

inline constexpr std::array<Priority, 6> kPriorities{{
    {L"Idle", ProcessClass::idle, -15},
    {L"Below Normal", ProcessClass::belowNormal, -1},
    {L"Normal", ProcessClass::normal, 0},
    {L"Above Normal", ProcessClass::aboveNormal, 1},
    {L"High", ProcessClass::high, 2},
    {L"Realtime", ProcessClass::realtime, 15},
}};

// A stored index may be any number; below the table means its first row, above it the last. Real-time safe.
constexpr int32_t ClampPriorityIndex(int32_t index) noexcept {
  return std::clamp(index, int32_t{0}, static_cast<int32_t>(kPriorities.size()) - 1);
}

// The row of any stored index. Real-time safe.
constexpr const Priority& PriorityAt(int32_t index) noexcept {
  return kPriorities[static_cast<size_t>(ClampPriorityIndex(index))];
}

}  // namespace tarnwick::system
