#include "platform/audio/alsa/alsa_recovery.h"

#include <algorithm>
#include <cerrno>

namespace tarnwick::platform {
namespace {

constexpr int32_t kMostFailures = 32;
constexpr int32_t kMostStalls = 4;  // each has taken half a second
constexpr int kLongestNap = 20;     // milliseconds

AlsaVerdict restart(AlsaEvent event, int32_t failures, int32_t most) {
  if (failures >= most) {
    return {AlsaRecovery::lost, event, 0};
  }
  // At once the first time; a device that needs it again and again must not keep a real-time thread spinning.
  return {AlsaRecovery::restart, event, std::min(failures, kLongestNap)};
}

}  // namespace

int AlsaStalled() noexcept {
  return -ETIMEDOUT;
}

AlsaVerdict JudgeAlsaError(int error, const AlsaFailures& failures) noexcept {
  if (error == AlsaStalled()) {
    return restart(AlsaEvent::stall, failures.sinceCallback, kMostStalls);
  }
  switch (-error) {
    case EAGAIN:
    case EINTR:
      return {AlsaRecovery::again, AlsaEvent::none, 1};
    case EPIPE:
      return restart(AlsaEvent::xrun, failures.sinceCallback, kMostFailures);
    case ESTRPIPE:
      return failures.sinceCallback < kMostFailures ? AlsaVerdict{AlsaRecovery::resume, AlsaEvent::suspend, 0}
                                                    : AlsaVerdict{AlsaRecovery::lost, AlsaEvent::suspend, 0};
    case ENODEV:
    case ENXIO:
    case EBADF:
    case ESHUTDOWN:
      return {AlsaRecovery::lost, AlsaEvent::none, 0};
    default:
      return restart(AlsaEvent::fault, failures.sinceBlock, kMostFailures);
  }
}

}  // namespace tarnwick::platform
