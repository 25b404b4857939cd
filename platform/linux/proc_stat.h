// The kernel's account of the processors, /proc/stat.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/cpu_times.h"

namespace tarnwick::platform {

struct ProcessorAccount {
  CpuTimes total;
  std::vector<CpuTimes> processors;  // by number; all zero for one that is switched off
};

// `text` as the kernel gives it, `ticksPerSecond` its unit of time (at least 1). Nothing when the line for all
// processors is missing or broken; broken lines of single processors are left out.
std::optional<ProcessorAccount> ParseProcStat(std::string_view text, uint64_t ticksPerSecond);

}  // namespace tarnwick::platform
