// The remedy for an error of an ALSA device. A function of its arguments.
#pragma once

#include <cstdint>

namespace tarnwick::platform {

enum class AlsaRecovery {
  again,    // nothing is wrong: ask once more
  restart,  // prepare, silence, start
  resume,   // wait for the device to come back from a suspend, then restart
  lost,     // the device is gone or cannot be brought back
};

enum class AlsaEvent { none, xrun, suspend, stall, fault };

struct AlsaVerdict {
  AlsaRecovery recovery = AlsaRecovery::again;
  AlsaEvent event = AlsaEvent::none;  // what to count
  int napMilliseconds = 0;            // to be waited first
  bool operator==(const AlsaVerdict&) const = default;
};

// Verdicts without success in between; the thread counts them.
struct AlsaFailures {
  int32_t sinceCallback = 0;  // since the host was called
  int32_t sinceBlock = 0;     // since a block went all the way
};

// Result of a wait that saw no block in time. Not an error that ALSA gives for anything else.
int AlsaStalled() noexcept;

// `error` is a negative errno. An overloaded host has xruns for ever and is never given up; a device that delivers
// nothing after each restart, or fails otherwise block after block, is.
AlsaVerdict JudgeAlsaError(int error, const AlsaFailures& failures) noexcept;

}  // namespace tarnwick::platform
