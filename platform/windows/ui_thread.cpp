// The user-interface thread with windows: messages are window messages, work waits in a queue and each piece of it is
// announced by a window message of its own. So whatever loop takes the thread's messages, the program's or that of a
// message box, keeps everything going.
#include "platform/ui_thread.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "platform/request_queue.h"
#include "platform/timer_queue.h"
#include "platform/trace.h"
#include "platform/windows/ui_window.h"

namespace tarnwick::platform {
namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr wchar_t kClassName[] = L"TarnwickUiThread";
// Together below the 10000 messages that Windows lets a thread have waiting.
constexpr int32_t kMessageCapacity = 1024;
constexpr UINT_PTR kTimer = 1;
constexpr int64_t kNoQuit = INT64_MIN;
constexpr milliseconds kTurn{50};  // after which sent messages let the posted ones have theirs
constexpr LRESULT kHeldBack = 2;   // answers kUiSentWork: not now, but it may still run

// Posts to a window; without one nothing is posted, where the system would take the calling thread for it.
bool tell(const std::atomic<HWND>& target, UINT message, WPARAM parameter = 0) noexcept {
  const HWND window = target.load(std::memory_order_acquire);
  return window != nullptr && PostMessageW(window, message, parameter, 0) != 0;
}

}  // namespace

struct UiThread::State {
  RequestQueue work;
  std::atomic<int64_t> quitCode{kNoQuit};
  std::atomic<int32_t> messagesWaiting{0};  // posted and not yet taken

  // Written by the user-interface thread, read by all.
  std::atomic<HWND> target{nullptr};  // where messages go; null = not open
  std::atomic<HWND> hidden{nullptr};
  std::atomic<DWORD> owner{0};

  // The user-interface thread's own.
  Handler handler;
  TimerQueue timers;
  std::optional<SteadyClock::time_point> armedFor;  // the instant that the window's timer is set to
  bool quitPosted = false;                          // a WM_QUIT of ours has not been taken yet
  bool held = false;
  SteadyClock::duration sentTime{};  // that sent messages have taken since one was last posted or a timer due

  bool onOwner() const noexcept { return owner.load(std::memory_order_relaxed) == GetCurrentThreadId(); }
  bool isOpen() const noexcept { return target.load(std::memory_order_acquire) != nullptr; }
  bool quitting() const noexcept { return quitCode.load(std::memory_order_relaxed) != kNoQuit; }

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
      const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
      SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    auto* state = reinterpret_cast<State*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    LRESULT result = 0;
    if (state != nullptr && message == WM_TIMER) {
      state->armedFor.reset();
      state->runTimers();
      return 0;
    }
    if (state != nullptr && state->handle(message, wParam, result)) {
      return result;
    }
    return DefWindowProcW(window, message, wParam, lParam);
  }

  HWND createHidden() noexcept {
    const HINSTANCE program = GetModuleHandleW(nullptr);
    WNDCLASSEXW description{};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &procedure;
    description.hInstance = program;
    description.lpszClassName = kClassName;
    RegisterClassExW(&description);  // fails when it has been done before
    return CreateWindowExW(0, kClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, program, this);
  }

  bool handle(UINT message, WPARAM wParam, LRESULT& result) noexcept {
    result = 0;
    if (message > kUiMessageBase && message < kUiPostedWork) {
      messagesWaiting.fetch_sub(1, std::memory_order_relaxed);
      if (isOpen() && !quitting()) {
        Guarded([&] {
          handler(static_cast<UiMessage>(message - kUiMessageBase), static_cast<intptr_t>(wParam));
          return true;
        });
      }
      runTimers();
      return true;
    }
    switch (message) {
      case kUiPostedWork:
        // There are as many messages as requests, but a sent one takes those before it along: there may be none left.
        if (!quitting()) {
          work.runFirst();
        }
        runTimers();
        return true;
      case kUiSentWork:
        if (held) {
          result = kHeldBack;
          return true;
        }
        result = runSent(wParam);
        return true;
      case kUiQuit:
        if (quitting()) {  // also ends the loop of a message box
          quitPosted = true;
          PostQuitMessage(static_cast<int>(quitCode.load(std::memory_order_relaxed)));
        }
        return true;
      default:
        return false;
    }
  }

  // A sent message overtakes the posted ones; the work before it in the queue runs first all the same. So a backlog, or
  // senders enough, would keep all posted messages waiting, and the timers with them: once the sent ones have taken
  // their time, the work is left to a posted message.
  LRESULT runSent(uint64_t number) noexcept {
    const auto begin = SteadyClock::now();
    const auto end = begin + (kTurn - sentTime);
    const auto ran = work.runUpTo(number, [&] { return quitting() || SteadyClock::now() >= end; });
    sentTime += SteadyClock::now() - begin;
    if (!ran && !quitting()) {
      tell(target, kUiPostedWork);
      return kHeldBack;
    }
    return ran.value_or(false) ? 1 : 0;
  }

  // Timer messages come only when nothing else waits. So the timers are looked at after every posted message of ours as
  // well, or a flood of messages would stop them.
  void runTimers() noexcept {
    sentTime = {};
    const auto now = SteadyClock::now();
    while (!quitting()) {
      const auto tick = timers.takeDue(now);
      arm(now);  // before the tick, which may run a loop of its own
      if (!tick) {
        return;
      }
      Guarded([&] {
        (*tick)();
        return true;
      });
    }
  }

  // Work whose messages have gone without it gets new ones.
  void announceWork() noexcept {
    for (size_t left = work.size(); left > 0; --left) {
      tell(target, kUiPostedWork);
    }
  }

  void arm(SteadyClock::time_point now) noexcept {
    const auto due = timers.nextDue();
    const HWND window = hidden.load(std::memory_order_relaxed);
    if (due == armedFor || window == nullptr) {
      return;
    }
    armedFor = due;
    if (!due) {
      KillTimer(window, kTimer);
      return;
    }
    const int64_t rest = std::chrono::ceil<milliseconds>(*due - now).count();
    const int64_t allowed = std::clamp(rest, int64_t{USER_TIMER_MINIMUM}, int64_t{USER_TIMER_MAXIMUM});
    SetTimer(window, kTimer, static_cast<UINT>(allowed), nullptr);
  }
};

// The thread's state for the functions of ui_window.h.
struct UiWindowAccess {
  static UiThread::State& stateOf(const UiThread& ui) { return *ui.state_; }
};

HWND UiWindow(const UiThread& ui) noexcept {
  return UiWindowAccess::stateOf(ui).target.load(std::memory_order_acquire);
}

void AttachWindow(UiThread& ui, HWND window) noexcept {
  auto& state = UiWindowAccess::stateOf(ui);
  if (state.isOpen()) {
    state.target.store(window != nullptr ? window : state.hidden.load(std::memory_order_relaxed),
                       std::memory_order_release);
  }
}

void HoldRequests(UiThread& ui, bool held) noexcept {
  auto& state = UiWindowAccess::stateOf(ui);
  if (std::exchange(state.held, held) && !held) {
    state.announceWork();
  }
}

bool HandleUiMessage(UiThread& ui, UINT message, WPARAM wParam, LPARAM /*lParam*/, LRESULT& result) noexcept {
  return UiWindowAccess::stateOf(ui).handle(message, wParam, result);
}

UiThread::UiThread() : state_(std::make_unique<State>()) {}

UiThread::~UiThread() {
  close();
}

void UiThread::open(Handler handler) {
  state_->handler = std::move(handler);
  state_->messagesWaiting.store(0, std::memory_order_relaxed);
  state_->owner.store(GetCurrentThreadId(), std::memory_order_relaxed);
  const HWND window = state_->createHidden();
  if (window == nullptr) {
    Trace(L"The window of the user-interface thread could not be created.", TraceKind::fault);
  }
  state_->hidden.store(window, std::memory_order_relaxed);
  state_->armedFor.reset();
  state_->target.store(window, std::memory_order_release);
  if (window != nullptr) {
    state_->work.open();
  }
}

void UiThread::close() {
  state_->target.store(nullptr, std::memory_order_release);
  state_->work.close();
  state_->timers.clear();
  const HWND window = state_->hidden.exchange(nullptr);
  if (window == nullptr || !state_->onOwner()) {
    return;  // a window ends with its thread
  }
  // Answers the threads that wait for a request: nothing is removed, but what was sent is delivered.
  MSG message;
  PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
  DestroyWindow(window);
}

int UiThread::run() {
  state_->announceWork();
  MSG message;
  while (!state_->quitting()) {
    if (GetMessageW(&message, nullptr, 0, 0) > 0) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    } else if (!std::exchange(state_->quitPosted, false)) {  // posted by the main window's own hand
      int64_t none = kNoQuit;
      state_->quitCode.compare_exchange_strong(none, static_cast<int>(message.wParam));
    }
  }
  if (state_->quitPosted && PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != 0) {
    state_->quitPosted = false;
  }
  return static_cast<int>(state_->quitCode.exchange(kNoQuit));
}

void UiThread::quit(int code) {
  state_->quitCode.store(code, std::memory_order_relaxed);
  tell(state_->hidden, kUiQuit);
}

bool UiThread::post(UiMessage message, intptr_t parameter) noexcept {
  const bool room = state_->messagesWaiting.fetch_add(1, std::memory_order_relaxed) < kMessageCapacity;
  if (room && tell(state_->target, kUiMessageBase + static_cast<UINT>(message), static_cast<WPARAM>(parameter))) {
    return true;
  }
  state_->messagesWaiting.fetch_sub(1, std::memory_order_relaxed);
  return false;
}

bool UiThread::post(std::function<void()> work) {
  const auto request = state_->work.push([work = std::move(work)] {
    work();
    return true;
  });
  if (request == nullptr) {
    return false;
  }
  return tell(state_->target, kUiPostedWork) || !state_->work.withdraw(request);
}

bool UiThread::send(Work work) {
  if (state_->onOwner()) {
    return state_->isOpen() && Guarded(work);
  }
  const auto deadline = SteadyClock::now() + kUiSendTimeout;
  const auto request = state_->work.push(std::move(work));
  if (request == nullptr) {
    return false;
  }
  DWORD_PTR answer = 0;
  const LRESULT answered =
      SendMessageTimeoutW(state_->target.load(std::memory_order_acquire), kUiSentWork, request->number, 0,
                          SMTO_ABORTIFHUNG | SMTO_BLOCK, static_cast<UINT>(kUiSendTimeout.count()), &answer);
  if (answered == 0 || answer != kHeldBack) {
    state_->work.withdraw(request);  // unless it has begun
  }
  // Answered, but not finished: it was held back and may still begin, or it was taken along by the message of another
  // request and is still running, in a loop of its own that has answered ours.
  return state_->work.await(request, answered != 0 ? deadline : SteadyClock::now());
}

UiThread::TimerId UiThread::startTimer(milliseconds interval, std::function<void()> tick) {
  const auto now = SteadyClock::now();
  // A tick that opens a message box must not be called again from the box's loop, which would open one over the other.
  const TimerId timer = state_->timers.start(now, interval, [tick = std::move(tick), running = false]() mutable {
    if (running) {
      return;
    }
    running = true;
    Guarded([&] {
      tick();
      return true;
    });
    running = false;
  });
  state_->arm(now);
  return timer;
}

void UiThread::stopTimer(TimerId timer) {
  state_->timers.stop(timer);
  state_->arm(SteadyClock::now());
}

}  // namespace tarnwick::platform
