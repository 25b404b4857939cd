// The work that waits for the user-interface thread, posted and sent, in the order in which it came.
#pragma once

#include <chrono>
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

// Whatever runs here was handed in from elsewhere, and no exception may pass through the system's part of a window
// procedure.
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

class WorkQueue {
 public:
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
  };
  using RequestPointer = std::shared_ptr<Request>;

  static constexpr size_t kCapacity = 4096;

  void open();
  // Drops what waits and refuses more. User-interface thread.
  void close();

  // Any thread. Null when the queue is closed or full.
  RequestPointer push(Work work);
  // Takes a request back; false when it has begun. Any thread.
  bool withdraw(const RequestPointer& request);
  // What came of a sent request, whose message has been answered or not in time. One that was held back may begin until
  // the deadline. Any thread.
  bool settle(const RequestPointer& request, bool answered, bool heldBack,
              std::chrono::steady_clock::time_point deadline);
  size_t size();

  // Runs the request that has waited longest, if there is one. User-interface thread.
  void runFirst() noexcept;
  // Runs all requests up to the one with that number, and returns what that one says; nothing when `ended` said before
  // that no more are to run now. User-interface thread.
  std::optional<bool> runUpTo(uint64_t number, const std::function<bool()>& ended) noexcept;

 private:
  bool take(const RequestPointer& request);

  std::mutex mutex_;  // guards all of these and the phases
  std::deque<RequestPointer> requests_;
  uint64_t lastNumber_ = 0;
  bool open_ = false;
};

}  // namespace tarnwick::platform
