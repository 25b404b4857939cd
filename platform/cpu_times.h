// How the processors have spent their time. Any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnwick::platform {

// Counters since the system's start in units of 100 ns. Kernel time includes idle time, as Windows counts it.
struct CpuTimes {
  uint64_t idle = 0;
  uint64_t kernel = 0;
  uint64_t user = 0;
};

// All processors together. False when the system does not tell.
bool ReadTotalCpuTimes(CpuTimes& times);
// One entry a logical processor, by number. False when the system does not tell; `times` is then empty.
bool ReadProcessorTimes(std::vector<CpuTimes>& times);
// "Intel(R) Core(TM) i7-9700 CPU @ 3.00GHz"; empty when unknown.
std::wstring ProcessorName();

}  // namespace tarnwick::platform
