// The work that waits for the user-interface thread, posted and sent, in the order in which it came: the rules that
// both systems' ui_thread share. How the thread is woken, and how long it runs what waits, is theirs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platform/text.h"
#include "platform/trace.h"

namespace tarnwick::platform {

// Whatever runs here was handed in from elsewhere, and no exception of it may end a loop or pass through a window
// procedure. False when it threw.
template <class Call>
bool Guarded(Call&& call) noexcept {
  try {
    return call();
  } catch (const std::exception& error) {
    Trace(L"A request of the user-interface thread failed: " + WideFromUtf8(error.what()), TraceKind::fault);
  } catch (...) {
    Trace(L"A request of the user-interface thread failed.", TraceKind::fault);
  }
  return false;
}

class RequestQueue {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Work = std::function<bool()>;

  enum class Phase { waiting, running, finished, dropped };

  // One piece of work, shared with its sender, which may be gone by the time it runs. `phase` and `result` are guarded
  // by the queue's mutex; `work` belongs to whoever moved the phase on from `waiting`.
  struct Request {
    explicit Request(Work newWork) : work(std::move(newWork)) {}

    Work work;
    uint64_t number = 0;
    Phase phase = Phase::waiting;
    bool result = false;
    std::condition_variable ended;
  };
  using RequestPointer = std::shared_ptr<Request>;

  static constexpr size_t kCapacity = 4096;

  void open();
  // Refuses more, and drops what waits: their senders fail at once, their work is destroyed. User-interface thread.
  void close();

  // Never waits. Null when the queue is closed or full. Any thread but the audio path.
  RequestPointer push(Work work);
  // Takes a request back; false when it has begun. Any thread.
  bool withdraw(const RequestPointer& request);
  // Waits for a request until `deadline` at most: true only when it has run and said so. One that has not begun by then
  // never runs; one that has begun runs to its end. Any thread but the user-interface thread.
  bool await(const RequestPointer& request, Time deadline);
  size_t size();

  // The rest: user-interface thread. A request may run a loop that calls these again.

  // Runs the request that has waited longest, if there is one.
  void runFirst() noexcept;
  // Runs those that wait now, until `ended` says that others are to have their turn. True when some are left.
  bool runTurn(const std::function<bool()>& ended) noexcept;
  // Runs all requests up to the one with that number, and returns what that one says; nothing when `ended` said before
  // that no more are to run now.
  std::optional<bool> runUpTo(uint64_t number, const std::function<bool()>& ended) noexcept;

 private:
  bool take(const RequestPointer& request);

  std::mutex mutex_;  // guards all of these and the phases
  std::deque<RequestPointer> requests_;
  uint64_t lastNumber_ = 0;
  bool open_ = false;
};

}  // namespace tarnwick::platform
