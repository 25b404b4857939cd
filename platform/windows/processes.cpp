#include "platform/processes.h"

#include <memory>
#include <type_traits>

#include "platform/threads.h"
#include "platform/windows/win32.h"

// Needs the types of the header above.
#include <tlhelp32.h>

namespace tarnwick::platform {
namespace {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

std::vector<ProcessEntry> list() {
  const HANDLE raw = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (raw == INVALID_HANDLE_VALUE) {
    return {};
  }
  const Handle snapshot(raw);
  std::vector<ProcessEntry> entries;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32FirstW(raw, &entry); more != FALSE; more = Process32NextW(raw, &entry)) {
    entries.push_back({entry.th32ProcessID, entry.szExeFile});
  }
  return entries;
}

std::wstring ownExecutable() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path.substr(path.find_last_of(L"\\/") + 1);  // npos + 1 = 0: the whole path
    }
    path.resize(path.size() * 2);
  }
}

Handle open(uint32_t id) {
  return Handle(OpenProcess(PROCESS_SET_INFORMATION | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
}

ProcessAffinity affinityOf(const Handle& process) {
  DWORD_PTR mask = 0;
  DWORD_PTR system = 0;
  if (!process || GetProcessAffinityMask(process.get(), &mask, &system) == FALSE) {
    return {};
  }
  return {mask, system};
}

AffinityOutcome changeAffinity(uint32_t id, const AffinityChoice& choose) {
  const Handle process = open(id);
  if (!process) {
    return AffinityOutcome::denied;
  }
  const uint64_t mask = choose(affinityOf(process));
  if (mask == 0) {
    return AffinityOutcome::left;
  }
  return SetProcessAffinityMask(process.get(), mask) != FALSE ? AffinityOutcome::set : AffinityOutcome::failed;
}

DWORD priorityClassOf(ProcessClass processClass) {
  switch (processClass) {
    case ProcessClass::idle:
      return IDLE_PRIORITY_CLASS;
    case ProcessClass::belowNormal:
      return BELOW_NORMAL_PRIORITY_CLASS;
    case ProcessClass::normal:
      return NORMAL_PRIORITY_CLASS;
    case ProcessClass::aboveNormal:
      return ABOVE_NORMAL_PRIORITY_CLASS;
    case ProcessClass::high:
      return HIGH_PRIORITY_CLASS;
    case ProcessClass::realtime:
      break;
  }
  return REALTIME_PRIORITY_CLASS;
}

}  // namespace

Processes SystemProcesses() {
  Processes processes;
  processes.list = &list;
  processes.ownId = [] { return uint32_t{GetCurrentProcessId()}; };
  processes.ownExecutable = &ownExecutable;
  processes.readAffinity = [](uint32_t id) { return affinityOf(open(id)); };
  processes.changeAffinity = &changeAffinity;
  processes.setOwnAffinity = [](uint64_t mask) { return SetProcessAffinityMask(GetCurrentProcess(), mask) != FALSE; };
  processes.limitNewThreads = [](uint64_t) {};
  processes.setOwnClass = [](ProcessClass processClass) {
    return SetPriorityClass(GetCurrentProcess(), priorityClassOf(processClass)) != FALSE;
  };
  processes.setUiThreadLevel = &SetThreadPriorityLevel;
  return processes;
}

}  // namespace tarnwick::platform
