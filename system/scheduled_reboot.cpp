#include "system/scheduled_reboot.h"

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <utility>

namespace tarnwick::system {
namespace {

constexpr LocalTime kSecond = 10'000'000;
constexpr LocalTime kMinute = 60 * kSecond;
constexpr int32_t kMinutesPerDay = 24 * 60;
constexpr LocalTime kDay = kMinutesPerDay * kMinute;

constexpr int64_t kMissedSeconds = -5;  // later than this, the restart is tomorrow's
constexpr int64_t kRearmSeconds = 3600;

constexpr const wchar_t* kTenSecondsWarning =
    L"The system will restart in about 10 seconds (scheduled reboot).\n\n"
    L"Press OK to dismiss. This message does not cancel the restart.";

std::wstring tenMinutesWarning(int32_t minutes) {
  wchar_t text[160];
  std::swprintf(text, std::size(text),
                L"In 10 minutes, at %02d:%02d, this PC will restart (scheduled reboot).\n\n"
                L"Press OK to dismiss. This message does not cancel the restart.",
                static_cast<int>(minutes / 60), static_cast<int>(minutes % 60));
  return text;
}

int64_t wholeSeconds(LocalTime span) {
  return span / kSecond;  // truncated toward zero
}

// The restart that a check at `now` is about.
LocalTime targetOf(int32_t minutes, LocalTime now) {
  const LocalTime today = now - now % kDay + minutes * kMinute;
  return wholeSeconds(today - now) < kMissedSeconds ? today + kDay : today;
}

void warn(ScheduledReboot& reboot, int32_t minutes, LocalTime target, int64_t seconds, const RebootActions& actions) {
  if (seconds >= 1 && seconds <= 600 && reboot.warned10min != target) {
    reboot.warned10min = target;
    actions.showWarning(tenMinutesWarning(minutes));
  }
  if (seconds >= -2 && seconds <= 10 && reboot.warned10s != target) {
    reboot.warned10s = target;
    actions.showWarning(kTenSecondsWarning);
  }
}

}  // namespace

void CheckScheduledReboot(ScheduledReboot& reboot, bool enabled, int32_t minutes, LocalTime now,
                          const RebootActions& actions) {
  if (!enabled) {
    return;
  }
  const int32_t restartMinutes = minutes >= 0 && minutes < kMinutesPerDay ? minutes : kDefaultRestartMinutes;
  const LocalTime target = targetOf(restartMinutes, now);
  const int64_t seconds = wholeSeconds(target - now);
  if (seconds > kRearmSeconds) {
    reboot.fired = false;
  }
  warn(reboot, restartMinutes, target, seconds, actions);
  if (seconds > 0 || reboot.fired.exchange(true)) {
    return;
  }
  reboot.rebootPending = true;
  actions.diagnose(L"Scheduled reboot: stopping host before system restart.");
  if (actions.hostRunning()) {
    actions.stopHost();
  } else {
    RequestRestartAfterStop(reboot, actions);
  }
}

void RequestRestartAfterStop(ScheduledReboot& reboot, const RebootActions& actions) {
  if (actions.closing() || !std::exchange(reboot.rebootPending, false)) {
    return;
  }
  actions.diagnose(L"Scheduled reboot: host is stopped; requesting Windows restart.");
  if (!actions.restartPc()) {
    actions.diagnose(
        L"Scheduled reboot failed (shutdown.exe). Try running as administrator, or check shutdown policy.");
    reboot.fired = false;
  }
}

}  // namespace tarnwick::system
