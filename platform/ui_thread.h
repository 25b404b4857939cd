// The one way into the user-interface thread, which owns all state. Other threads post (no answer) or send (an answer
// within a second). On Windows the messages go to the main window, on Linux to a queue that the main thread runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tarnwick::platform {

// Posted messages, as offsets from the application message base.
enum class UiMessage : uint32_t {
  deferredStart = 1,     // from the user-interface thread to itself, after the window's creation
  latenciesChanged = 2,  // from the audio driver
  hostStopFinished = 3,  // from the host stop thread
  deferredSession = 4,   // deferred device-session request, one pending at most
  refreshFirst = 5,      // deferred refreshes
  refreshSecond = 6,
};
inline constexpr uint32_t kUiMessageBase = 0x8000;

// How long `send` waits for its answer.
inline constexpr std::chrono::milliseconds kUiSendTimeout{1000};

class UiThread {
 public:
  using Handler = std::function<void(UiMessage message, intptr_t parameter)>;
  using Work = std::function<bool()>;
  using TimerId = uint32_t;

  UiThread();
  UiThread(const UiThread&) = delete;
  UiThread& operator=(const UiThread&) = delete;
  // Closes. Every thread that posts or sends must have ended, or have come back from its last call.
  ~UiThread();

  // Makes the calling thread the user-interface thread and begins to take requests. `handler` runs on it for every
  // posted message. Before this, and after `close`, every post and send fails at once.
  void open(Handler handler);
  // Stops taking requests: those that wait fail, those that were posted are dropped. User-interface thread.
  void close();
  // Runs requests and timers until `quit`; returns its code. User-interface thread.
  int run();
  // Ends `run`, or the next one when none is running; what waits then is left to `close`. Any thread; on Linux also a
  // signal handler.
  void quit(int code);

  // Posts a message with a small number. Any thread, the audio callback included: does not allocate, lock or wait.
  // False when the queue is full or there is no user-interface thread to take it.
  bool post(UiMessage message, intptr_t parameter = 0) noexcept;
  // Posts work, which runs in the order of posting among all work posted and sent. Any thread but the audio path. False
  // as above; the queue takes 4096.
  bool post(std::function<void()> work);

  // Runs `work` on the user-interface thread and waits for it at most kUiSendTimeout: true only when it ran in time and
  // returned true. On the user-interface thread itself it runs at once. Work that has not begun by then never runs;
  // work that has begun runs to its end although the caller is gone, so it may hold only what it owns: see SendRecord.
  bool send(Work work);

  // Calls `tick` every `interval` on the user-interface thread, first after one interval. User-interface thread.
  TimerId startTimer(std::chrono::milliseconds interval, std::function<void()> tick);
  void stopTimer(TimerId timer);

 private:
  friend struct UiWindowAccess;  // Windows: the window that the requests go to
  struct State;
  std::unique_ptr<State> state_;
};

// Sends a request record: `handler(record)` runs on the user-interface thread on a copy of `record`, and what it wrote
// comes back into `record` when the answer is true. A copy, so that a caller that has given up leaves nothing dangling.
template <class Record, class RecordHandler>
bool SendRecord(UiThread& ui, Record& record, RecordHandler handler) {
  auto shared = std::make_shared<Record>(record);
  if (!ui.send([shared, handler]() -> bool { return handler(*shared); })) {
    return false;
  }
  record = std::move(*shared);
  return true;
}

}  // namespace tarnwick::platform
