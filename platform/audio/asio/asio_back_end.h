// The ASIO drivers of a Windows machine as audio drivers of this program.
//
// Every loaded driver lives on a thread of its own: a single-threaded apartment with a message loop, where it is made,
// called (but for ASIOOutputReady) and released. The user-interface thread waits for each call, but only so long. A
// driver whose call does not come back in time is given up: its operations answer ASE_HWMalfunction at once, its
// callbacks reach nothing, loading it again fails at once for as long as the call lasts, and should the call come back
// after all, the driver is stopped and released then. A control panel that stays open is not waited for: calls go
// through inside the panel's own message loop, and the release waits until the panel has been closed.
//
// Not caught: a driver that faults or throws ends the program, as it would in any host built this way, and one
// that is given up keeps its thread until the program ends.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// How long the user-interface thread waits.
struct AsioLimits {
  std::chrono::milliseconds open{10000};  // load, init, createBuffers, start: a device may have to wake up
  std::chrono::milliseconds other{5000};  // everything else, the release included
  std::chrono::milliseconds panel{250};   // after which the panel counts as open
};

struct AsioOptions {
  AsioLimits limits;
  // Told before (true) and after (false) every wait for a driver. Where it is set, the wait lets the other threads'
  // window messages through, which a driver's dialog that is owned by the main window needs; the window's procedure
  // must turn away meanwhile what would act on the device. Where it is not set, the wait lets nothing through, and such
  // a dialog appears when the wait has ended.
  std::function<void(bool waiting)> onWait;
  // A line for the status log; may be empty. User-interface thread.
  std::function<void(const std::wstring& line)> log;
  // Overloads that the driver tells of (few do), as BackEndHooks::xruns; may be empty.
  std::function<void(uint64_t total)> xruns;
};

// Several drivers may be loaded at a time, one of them may have buffers: the others get ASE_InvalidMode for them. An
// init that fails is ASE_NotPresent, unless the driver's message names another code ("ASE_NoClock"); the message goes
// to the trace. A driver must not be destroyed from within one of its own waits.
AudioBackEnd AsioBackEnd(AsioOptions options = {});

}  // namespace tarnwick::platform
