#include "platform/cpu_times.h"

#include <algorithm>

#include "platform/text.h"
#include "platform/threads.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

// One processor as NtQuerySystemInformation gives it, class 8. Times in 100 ns.
struct ProcessorRecord {
  uint64_t idle;
  uint64_t kernel;  // with idle
  uint64_t user;
  uint64_t deferredCalls;
  uint64_t interrupts;
  uint32_t interruptCount;
  uint32_t unused;
};
static_assert(sizeof(ProcessorRecord) == 48);

using QueryInformation = LONG(WINAPI*)(int kind, void* buffer, ULONG size, ULONG* needed);
constexpr int kProcessorPerformance = 8;

uint64_t numberOf(const FILETIME& time) {
  return (uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

}  // namespace

bool ReadTotalCpuTimes(CpuTimes& times) {
  FILETIME idle{};
  FILETIME kernel{};
  FILETIME user{};
  if (GetSystemTimes(&idle, &kernel, &user) == FALSE) {
    return false;
  }
  times = {numberOf(idle), numberOf(kernel), numberOf(user)};
  return true;
}

bool ReadProcessorTimes(std::vector<CpuTimes>& times) {
  static const auto query = FunctionOf<QueryInformation>(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
  constexpr LONG kTooShort = static_cast<LONG>(0xC0000004);  // STATUS_INFO_LENGTH_MISMATCH
  constexpr size_t kMostProcessors = 8192;
  times.clear();
  LONG status = kTooShort;
  std::vector<ProcessorRecord> records(static_cast<size_t>(ProcessorCount()));
  ULONG bytes = 0;
  while (query != nullptr && status == kTooShort && records.size() <= kMostProcessors) {
    status =
        query(kProcessorPerformance, records.data(), static_cast<ULONG>(records.size() * sizeof records[0]), &bytes);
    if (status == kTooShort) {
      records.resize(records.size() * 2);
    }
  }
  if (status < 0 || query == nullptr) {
    return false;
  }
  records.resize(std::min(records.size(), bytes / sizeof records[0]));
  for (const ProcessorRecord& record : records) {
    times.push_back({record.idle, record.kernel, record.user});
  }
  return !times.empty();
}

std::wstring ProcessorName() {
  wchar_t name[256];
  DWORD bytes = sizeof name;
  const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0",
                                      L"ProcessorNameString", RRF_RT_REG_SZ, nullptr, name, &bytes);
  return status == ERROR_SUCCESS ? Trimmed(name) : std::wstring();
}

}  // namespace tarnwick::platform
