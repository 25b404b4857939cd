// Two ways to wait, because no single one is precise everywhere. On Windows a high-resolution waitable timer is: it
// wakes within about half a millisecond, whatever the system's timer resolution, where other waits last until the next
// tick of up to 15.6 ms. Wine takes that flag but keeps to whole milliseconds; there NtDelayExecution is precise to
// some microseconds. Both wait for a span; the wait is repeated until the counter itself says that the time has come.
#include "platform/block_clock.h"

#include <algorithm>

#include "platform/clock.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

using DelayFunction = LONG(WINAPI*)(BOOLEAN alertable, const LARGE_INTEGER* span);

constexpr int64_t kUnitsPerSecond = 10'000'000;  // of 100 ns, as Windows counts time spans
constexpr DWORD kHighResolution = 0x2;           // CREATE_WAITABLE_TIMER_HIGH_RESOLUTION, Windows 10 1803 and later

// NtDelayExecution where it is the precise one, else null.
DelayFunction preciseDelay() noexcept {
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  if (FunctionOf<void (*)()>(system, "wine_get_version") == nullptr) {
    return nullptr;
  }
  return FunctionOf<DelayFunction>(system, "NtDelayExecution");
}

// One thread's timer, made at its first wait.
class WaitableTimer {
 public:
  WaitableTimer() noexcept : handle_(create(kHighResolution)) {
    if (handle_ == nullptr) {
      handle_ = create(0);
    }
  }
  WaitableTimer(const WaitableTimer&) = delete;
  WaitableTimer& operator=(const WaitableTimer&) = delete;
  ~WaitableTimer() {
    if (handle_ != nullptr) {
      CloseHandle(handle_);
    }
  }

  bool wait(const LARGE_INTEGER& span) noexcept {
    return handle_ != nullptr && SetWaitableTimer(handle_, &span, 0, nullptr, nullptr, FALSE) != 0 &&
           WaitForSingleObject(handle_, INFINITE) == WAIT_OBJECT_0;
  }

 private:
  static HANDLE create(DWORD flags) noexcept {
    return CreateWaitableTimerExW(nullptr, nullptr, flags, TIMER_MODIFY_STATE | SYNCHRONIZE);
  }
  HANDLE handle_;
};

void waitFor(int64_t units) noexcept {
  static const DelayFunction delay = preciseDelay();
  LARGE_INTEGER span;
  span.QuadPart = -units;  // negative: from now on
  if (delay != nullptr) {
    delay(FALSE, &span);
    return;
  }
  thread_local WaitableTimer timer;
  if (!timer.wait(span)) {
    Sleep(static_cast<DWORD>(std::max(int64_t{1}, units * 1000 / kUnitsPerSecond)));
  }
}

}  // namespace

void SleepUntil(int64_t counterTick) noexcept {
  const int64_t frequency = CounterFrequency();
  for (int64_t left = counterTick - CounterNow(); left > 0; left = counterTick - CounterNow()) {
    // Whole seconds apart, so that no wait is too long to be counted; rounded up, so that none is nothing.
    waitFor(left / frequency * kUnitsPerSecond + (left % frequency * kUnitsPerSecond + frequency - 1) / frequency);
  }
}

}  // namespace tarnwick::platform
