// The user-interface thread without windows: a ring of messages, the request queue and the timers, run by one loop that
// sleeps on an eventfd.
#include "platform/ui_thread.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <optional>
#include <thread>
#include <utility>

#include "platform/message_ring.h"
#include "platform/request_queue.h"
#include "platform/timer_queue.h"

namespace tarnwick::platform {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr size_t kMessageCapacity = 1024;
constexpr std::chrono::milliseconds kWithoutEventFd{10};
constexpr std::chrono::milliseconds kTurn{50};  // after which a queue lets the others and the timers have theirs
constexpr int64_t kNoQuit = INT64_MIN;

struct Message {
  UiMessage number;
  intptr_t parameter;
};

}  // namespace

struct UiThread::State {
  // From all threads to the user-interface thread.
  MessageRing<Message, kMessageCapacity> messages;
  RequestQueue requests;
  std::atomic<int64_t> quitCode{kNoQuit};

  // The user-interface thread's own.
  Handler handler;
  TimerQueue timers;

  // Written by the user-interface thread, read by all.
  std::atomic<std::thread::id> owner{};
  std::atomic<bool> open{false};

  std::atomic<bool> wakePending{false};  // set by whoever wakes the loop, cleared by the loop
  const int eventFd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);

  static_assert(std::atomic<int64_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
                "quit is called by signal handlers, post by the audio callback");

  State() = default;
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  ~State() {
    if (eventFd >= 0) {
      ::close(eventFd);
    }
  }

  bool onOwner() const noexcept { return owner.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

  // Real-time and signal safe. The first to set the flag after the loop has cleared it writes; the others know that
  // the loop will look once more. The exchanges pair with the one in `sleep`.
  void wake() noexcept {
    if (!wakePending.exchange(true, std::memory_order_acq_rel)) {
      const int savedError = errno;
      const uint64_t one = 1;
      [[maybe_unused]] const ssize_t written = ::write(eventFd, &one, sizeof one);
      errno = savedError;
    }
  }

  void sleep(bool more) noexcept {
    std::optional<SteadyClock::duration> rest;
    if (more) {
      rest = SteadyClock::duration::zero();
    } else if (const auto due = timers.nextDue()) {
      rest = std::max(*due - SteadyClock::now(), SteadyClock::duration::zero());
    }
    if (eventFd < 0) {  // the process had no descriptor left: look often instead of waiting to be woken
      rest = std::min<SteadyClock::duration>(rest.value_or(kWithoutEventFd), kWithoutEventFd);
    }
    timespec limit{};
    if (rest) {
      const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*rest);
      limit.tv_sec = static_cast<time_t>(seconds.count());
      limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(*rest - seconds).count());
    }
    pollfd ready{eventFd, POLLIN, 0};
    ppoll(&ready, 1, rest ? &limit : nullptr, nullptr);
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = ::read(eventFd, &count, sizeof count);
    wakePending.exchange(false, std::memory_order_acq_rel);
  }

  bool quitting() const noexcept { return quitCode.load(std::memory_order_relaxed) != kNoQuit; }

  // Both answer true when some are left: a flood may not keep the timers and the other queue waiting.
  bool runMessages() {
    const auto end = SteadyClock::now() + kTurn;
    Message message{};
    for (size_t k = 0; k < kMessageCapacity && SteadyClock::now() < end; ++k) {
      if (quitting() || !messages.pop(message)) {
        return false;
      }
      Guarded([&] {
        handler(message.number, message.parameter);
        return true;
      });
    }
    return true;
  }

  bool runRequests() {
    const auto end = SteadyClock::now() + kTurn;
    return requests.runTurn([&] { return quitting() || SteadyClock::now() >= end; });
  }

  void runTimers() {
    const auto now = SteadyClock::now();
    while (!quitting()) {
      const auto tick = timers.takeDue(now);
      if (!tick) {
        return;
      }
      Guarded([&] {
        (*tick)();
        return true;
      });
    }
  }
};

UiThread::UiThread() : state_(std::make_unique<State>()) {}

UiThread::~UiThread() {
  close();
}

void UiThread::open(Handler handler) {
  // Requests left at the last `close`, or posted while it was at work.
  Message dropped{};
  while (state_->messages.pop(dropped)) {
  }
  state_->handler = std::move(handler);
  state_->owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
  state_->requests.open();
  state_->open.store(true, std::memory_order_release);
}

void UiThread::close() {
  state_->open.store(false, std::memory_order_release);
  state_->requests.close();
  state_->timers.clear();
}

int UiThread::run() {
  bool more = false;
  while (!state_->quitting()) {
    state_->sleep(more);
    const bool moreMessages = state_->runMessages();
    const bool moreRequests = state_->runRequests();
    more = moreMessages || moreRequests;
    state_->runTimers();
  }
  return static_cast<int>(state_->quitCode.exchange(kNoQuit));
}

void UiThread::quit(int code) {
  state_->quitCode.store(code, std::memory_order_relaxed);
  state_->wake();
}

bool UiThread::post(UiMessage message, intptr_t parameter) noexcept {
  if (!state_->open.load(std::memory_order_acquire) || !state_->messages.push({message, parameter})) {
    return false;
  }
  state_->wake();
  return true;
}

bool UiThread::post(std::function<void()> work) {
  const auto request = state_->requests.push([work = std::move(work)] {
    work();
    return true;
  });
  state_->wake();
  return request != nullptr;
}

bool UiThread::send(Work work) {
  if (state_->onOwner()) {
    return state_->open.load(std::memory_order_relaxed) && Guarded(work);
  }
  const auto deadline = SteadyClock::now() + kUiSendTimeout;
  const auto request = state_->requests.push(std::move(work));
  if (request == nullptr) {
    return false;
  }
  state_->wake();
  return state_->requests.await(request, deadline);
}

UiThread::TimerId UiThread::startTimer(std::chrono::milliseconds interval, std::function<void()> tick) {
  return state_->timers.start(SteadyClock::now(), interval, std::move(tick));
}

void UiThread::stopTimer(TimerId timer) {
  state_->timers.stop(timer);
}

}  // namespace tarnwick::platform
