// The thread that a loaded driver lives on: a single-threaded COM apartment with a message loop. The driver is made,
// called and released there, so that a call which hangs holds up this thread and not the window; and the windows that
// it opens are served although the caller has gone on.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <chrono>
#include <functional>
#include <memory>

namespace tarnwick::platform {

// Told before (true) and after (false) a wait for a driver. Where it is set, such a wait lets the other threads' window
// messages through, which a driver's dialog owned by the main window needs; the window's procedure must then turn away
// what would act on the device meanwhile. Where it is not set, the wait lets nothing through.
using AsioWaitHook = std::function<void(bool waiting)>;

class AsioThread {
 public:
  // Null when the system gives no thread, window or apartment.
  static std::shared_ptr<AsioThread> start();
  AsioThread(const AsioThread&) = delete;
  AsioThread& operator=(const AsioThread&) = delete;
  // Does not wait: whoever drops the last owner has called `finish`.
  ~AsioThread();

  // Runs `work` on the thread, inside a dialog's own message loop if a driver shows one there. True when it returned
  // within `limit`; else it may still run or begin later, so it may hold only what it owns.
  bool run(std::function<void()> work, std::chrono::milliseconds limit, const AsioWaitHook& hook);
  // Runs `last` once no work is left or under way, and then ends the thread. True when it has within `limit`.
  bool finish(std::function<void()> last, std::chrono::milliseconds limit, const AsioWaitHook& hook);

 private:
  struct State;
  explicit AsioThread(std::shared_ptr<State> state);
  std::shared_ptr<State> state_;
};

}  // namespace tarnwick::platform
