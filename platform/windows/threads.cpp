// The calling thread as the Windows scheduler sees it.
#include "platform/threads.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

using RegisterFunction = HANDLE(WINAPI*)(const wchar_t* task, DWORD* taskIndex);
using RevertFunction = BOOL(WINAPI*)(HANDLE registration);
using DescribeFunction = HRESULT(WINAPI*)(HANDLE thread, const wchar_t* description);

constexpr wchar_t kProAudioTask[] = L"Pro Audio";
constexpr size_t kLongestThreadName = 15;
// The levels that every process class has, highest first.
constexpr int32_t kLevels[] = {THREAD_PRIORITY_TIME_CRITICAL, THREAD_PRIORITY_HIGHEST,
                               THREAD_PRIORITY_ABOVE_NORMAL,  THREAD_PRIORITY_NORMAL,
                               THREAD_PRIORITY_BELOW_NORMAL,  THREAD_PRIORITY_IDLE};

// Written by PrepareThreads, read by every thread. Null = this system has none.
std::atomic<RegisterFunction> registerTask{nullptr};
std::atomic<RevertFunction> revertTask{nullptr};

// Taken before the program's first own step, so among those that lie in the thread's block itself.
const DWORD wordIndex = TlsAlloc();

// The highest level that is not above `level`; of the two below -1 there is only the lowest.
int32_t nearestLevel(int32_t level) noexcept {
  if (level < THREAD_PRIORITY_BELOW_NORMAL && level > THREAD_PRIORITY_IDLE) {
    return THREAD_PRIORITY_BELOW_NORMAL;
  }
  for (const int32_t step : kLevels) {
    if (level >= step) {
      return step;
    }
  }
  return THREAD_PRIORITY_IDLE;
}

}  // namespace

void PrepareThreads() noexcept {
  // Never freed: threads may be registered until the process ends.
  const HMODULE library = LoadLibraryExW(L"avrt.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  const auto enter = FunctionOf<RegisterFunction>(library, "AvSetMmThreadCharacteristicsW");
  const auto leave = FunctionOf<RevertFunction>(library, "AvRevertMmThreadCharacteristics");
  if (enter != nullptr && leave != nullptr) {
    revertTask.store(leave, std::memory_order_relaxed);
    registerTask.store(enter, std::memory_order_relaxed);
  }
}

uint64_t SystemAffinityMask() noexcept {
  DWORD_PTR process = 0;
  DWORD_PTR system = 0;
  // The system's, not the process's own: that one the program sets itself, to any part of the former.
  return GetProcessAffinityMask(GetCurrentProcess(), &process, &system) != 0 ? uint64_t{system} : 0;
}

int32_t ProcessorCount() noexcept {
  return static_cast<int32_t>(std::max(DWORD{1}, GetActiveProcessorCount(ALL_PROCESSOR_GROUPS)));
}

bool ProcessBindsThreads() noexcept {
  return true;
}

bool SetThreadAffinity(uint64_t mask) noexcept {
  return SetThreadAffinityMask(GetCurrentThread(), DWORD_PTR{mask}) != 0;
}

uint64_t ThreadAffinity() noexcept {
  GROUP_AFFINITY affinity{};
  return GetThreadGroupAffinity(GetCurrentThread(), &affinity) != 0 ? uint64_t{affinity.Mask} : 0;
}

void SetFlushDenormals() noexcept {
  constexpr unsigned kFlushToZero = 0x8000;
  constexpr unsigned kDenormalsAreZero = 0x0040;
  _mm_setcsr(_mm_getcsr() | kFlushToZero | kDenormalsAreZero);
}

int32_t SetThreadPriorityLevel(int32_t level) noexcept {
  const HANDLE thread = GetCurrentThread();
  SetThreadPriority(thread, nearestLevel(level));
  const int granted = GetThreadPriority(thread);
  return granted == THREAD_PRIORITY_ERROR_RETURN ? 0 : nearestLevel(granted);
}

void RegisterProAudio(RealtimeUse /*use*/, RealtimeRegistration& registration) noexcept {
  if (registration.registered) {
    return;
  }
  const RegisterFunction enter = registerTask.load(std::memory_order_relaxed);
  if (enter == nullptr) {
    registration.registered = true;
    return;
  }
  DWORD taskIndex = 0;
  registration.handle = enter(kProAudioTask, &taskIndex);
  if (registration.handle != nullptr) {
    registration.registered = true;
    registration.grant = RealtimeGrant::mmcss;
    registration.taskIndex = taskIndex;
  }
}

void RevertProAudio(RealtimeRegistration& registration) noexcept {
  const RevertFunction leave = revertTask.load(std::memory_order_relaxed);
  if (registration.handle != nullptr && leave != nullptr) {
    leave(registration.handle);
  }
  registration = {};
}

void SetThreadName(const char* name) noexcept {
  // Windows 10 1607 and later.
  static const auto describe = FunctionOf<DescribeFunction>(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription");
  if (describe == nullptr) {
    return;
  }
  wchar_t description[kLongestThreadName + 1] = {};
  const size_t length = std::min(std::strlen(name), kLongestThreadName);
  std::transform(name, name + length, description, [](char letter) { return static_cast<wchar_t>(letter); });
  describe(GetCurrentThread(), description);
}

void IgnoreClosedPipes() noexcept {}  // the system never ends a program for that

uint64_t ThreadWord() noexcept {
  return reinterpret_cast<uintptr_t>(TlsGetValue(wordIndex));
}

void SetThreadWord(uint64_t word) noexcept {
  TlsSetValue(wordIndex, reinterpret_cast<void*>(uintptr_t{word}));
}

}  // namespace tarnwick::platform
