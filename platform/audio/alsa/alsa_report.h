// Puts into the log what happens to a running ALSA device: a thread of its own ("twk-alsa-log") looks at the device
// thread's counters, which therefore never waits for a log.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/alsa/alsa_thread.h"
#include "platform/audio/alsa/alsa_wake.h"

namespace tarnwick::platform {

struct AlsaCounts {
  uint64_t xruns = 0;
  uint64_t suspends = 0;
  uint64_t stalls = 0;
  uint64_t faults = 0;
  bool operator==(const AlsaCounts&) const = default;
};

AlsaCounts CountsOf(const AlsaStatus& status);
// The line about what `now` has over `before`; empty when that is nothing. `lastFault`: a negative errno.
std::wstring AlsaReport(const std::wstring& device, const AlsaCounts& before, const AlsaCounts& now, int lastFault);
// Why a device was given up. `error` is a negative errno.
std::wstring AlsaLossReason(const std::wstring& device, int error);
// ALSA's words for an error.
std::wstring AlsaErrorText(int error);

class AlsaReporter {
 public:
  // `status` and `wake` outlive this. A signal has a loss told at once; for the rest the first line follows its cause
  // within a second, further ones at most every ten, what is left at the end. May throw std::bad_alloc and
  // std::system_error.
  AlsaReporter(std::wstring device, const AlsaStatus& status, AlsaWake& wake, BackEndHooks hooks);
  AlsaReporter(const AlsaReporter&) = delete;
  AlsaReporter& operator=(const AlsaReporter&) = delete;
  // Returns when all is told and no hook runs.
  ~AlsaReporter();

 private:
  void run();
  void tellXruns();
  void report();

  const std::wstring device_;
  const AlsaStatus& status_;
  AlsaWake& wake_;
  const BackEndHooks hooks_;
  AlsaCounts told_;         // reporter thread
  uint64_t xrunsTold_ = 0;  // reporter thread
  std::atomic<bool> ending_{false};
  std::thread thread_;
};

}  // namespace tarnwick::platform
