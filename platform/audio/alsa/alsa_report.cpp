#include "platform/audio/alsa/alsa_report.h"

#include <alsa/asoundlib.h>
#include <poll.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "platform/audio/alsa/alsa_recovery.h"
#include "platform/clock.h"
#include "platform/text.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

constexpr int kLookMilliseconds = 1000;
constexpr uint64_t kLineMilliseconds = 10'000;

void add(std::wstring& line, uint64_t before, uint64_t now, const wchar_t* one, const wchar_t* many) {
  const uint64_t count = now - before;
  if (count == 0) {
    return;
  }
  line += (line.empty() ? L"" : L", ") + std::to_wstring(count) + L" " + (count == 1 ? one : many);
  if (before > 0) {
    line += L" (" + std::to_wstring(now) + L" since the start)";
  }
}

}  // namespace

AlsaCounts CountsOf(const AlsaStatus& status) {
  return {status.xruns.load(std::memory_order_relaxed), status.suspends.load(std::memory_order_relaxed),
          status.stalls.load(std::memory_order_relaxed), status.faults.load(std::memory_order_relaxed)};
}

std::wstring AlsaErrorText(int error) {
  return WideFromUtf8(snd_strerror(error));
}

std::wstring AlsaReport(const std::wstring& device, const AlsaCounts& before, const AlsaCounts& now, int lastFault) {
  std::wstring line;
  add(line, before.xruns, now.xruns, L"xrun", L"xruns");
  add(line, before.suspends, now.suspends, L"suspend", L"suspends");
  add(line, before.stalls, now.stalls, L"stall", L"stalls");
  add(line, before.faults, now.faults, L"error", L"errors");
  if (line.empty()) {
    return line;
  }
  if (now.faults > before.faults) {
    line += L", the last one: " + AlsaErrorText(lastFault);
  }
  return L"ALSA: " + device + L": " + line + L".";
}

std::wstring AlsaLossReason(const std::wstring& device, int error) {
  if (error == AlsaStalled()) {
    return L"ALSA: " + device + L" delivers no more blocks.";
  }
  switch (-error) {
    case ENODEV:
    case ENXIO:
    case EBADF:
    case ESHUTDOWN:
      return L"ALSA: " + device + L" is gone (" + AlsaErrorText(error) + L").";
    default:
      return L"ALSA: " + device + L" cannot be brought back (" + AlsaErrorText(error) + L").";
  }
}

AlsaReporter::AlsaReporter(std::wstring device, const AlsaStatus& status, AlsaWake& wake, BackEndHooks hooks)
    : device_(std::move(device)), status_(status), wake_(wake), hooks_(std::move(hooks)) {
  thread_ = std::thread([this] { run(); });
}

AlsaReporter::~AlsaReporter() {
  ending_.store(true);
  wake_.signal();
  thread_.join();
}

void AlsaReporter::run() try {
  SetThreadName("twk-alsa-log");
  uint64_t quietUntil = 0;
  bool lossTold = false;
  while (!ending_.load()) {
    pollfd descriptor{wake_.descriptor(), POLLIN, 0};
    if (poll(&descriptor, 1, kLookMilliseconds) > 0) {
      wake_.clear();
    }
    tellXruns();
    const int lost = status_.lost.load(std::memory_order_acquire);
    const bool tellsLoss = lost != 0 && !lossTold;
    if (tellsLoss || TickMilliseconds() >= quietUntil) {
      const AlsaCounts before = told_;
      report();
      if (told_ != before) {
        quietUntil = TickMilliseconds() + kLineMilliseconds;
      }
    }
    if (tellsLoss) {
      lossTold = true;
      if (hooks_.deviceLost) {
        hooks_.deviceLost(AlsaLossReason(device_, lost));
      }
    }
  }
  report();
  tellXruns();
} catch (const std::exception&) {
  // No memory for a line: the device runs on without its report.
}

void AlsaReporter::tellXruns() {
  const uint64_t total = status_.xruns.load(std::memory_order_relaxed);
  if (total != xrunsTold_ && hooks_.xruns) {
    hooks_.xruns(total);
  }
  xrunsTold_ = total;
}

void AlsaReporter::report() {
  const AlsaCounts now = CountsOf(status_);
  const std::wstring line = AlsaReport(device_, told_, now, status_.lastFault.load(std::memory_order_relaxed));
  told_ = now;
  if (!line.empty() && hooks_.log) {
    hooks_.log(line);
  }
}

}  // namespace tarnwick::platform
