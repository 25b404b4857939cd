// The audio back ends of the system that the program is built for, and what they tell the program on their own account.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// Each may be empty. They are called on the user-interface thread or on a thread of the back end's own, never on the
// thread that delivers blocks. They must not wait for the user-interface thread, which may be waiting in ASIOStop for
// the thread that calls them; none is called once ASIOStop has returned.
struct BackEndHooks {
  // A line for the status log.
  std::function<void(const std::wstring& line)> log;
  // The running session has lost its device, at most once for each ASIOStart: what it delivers and takes from now on is
  // silence, or nothing. The session is to be closed as usual; the device can be opened again when it is back. The
  // reason is a sentence for the log.
  std::function<void(const std::wstring& reason)> deviceLost;
  // Told before (true) and after (false) every wait of the user-interface thread for a driver, on that thread. Such a
  // wait lets the other threads' window messages through, which a driver's dialog that is owned by the main window
  // needs; until it is over the window's procedure must turn away what would act on the device. Windows only.
  std::function<void(bool waiting)> waiting;
  // Blocks that came too late, as the device's system counts them: the total since ASIOStart, told within a second of
  // each change and for the last time before ASIOStop has returned. A start begins with 0, which is not told.
  std::function<void(uint64_t total)> xruns;
};

// The system's back ends in the order of the device list. Linux: JACK, ALSA; Windows: ASIO. User-interface thread.
std::vector<AudioBackEnd> SystemBackEnds(const BackEndHooks& hooks);

}  // namespace tarnwick::platform
