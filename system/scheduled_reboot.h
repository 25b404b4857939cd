// The daily restart of an unattended machine: warns ten minutes and ten seconds before, then stops the instance host
// and asks the system for a restart. All functions: user-interface thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tarnwick::system {

inline constexpr uint32_t kRebootCheckMilliseconds = 3000;  // period of CheckScheduledReboot
inline constexpr int32_t kDefaultRestartMinutes = 360;      // since midnight: 06:00

// Local wall-clock time in units of 100 ns since some midnight, as a file time is: what the clock on the wall shows, so
// every day has 24 hours.
using LocalTime = int64_t;

struct ScheduledReboot {
  LocalTime warned10min = -1;  // the restart of which the ten-minute warning was shown
  LocalTime warned10s = -1;    // ... and the ten-second one
  // The restart has begun; cleared when the next one is more than an hour away, and when the restart has failed.
  std::atomic<bool> fired{false};
  bool rebootPending = false;  // the stopping of the host is to be followed by the restart
};

// The schedule's requests to the program.
struct RebootActions {
  std::function<void(const std::wstring& text)> showWarning;  // returns at once, whatever becomes of the message
  std::function<bool()> hostRunning;                          // true as well while the host is stopping
  std::function<void()> stopHost;  // begins the stop; RequestRestartAfterStop is called when the host has stopped
  std::function<bool()> closing;   // the program is about to end: its stop of the host never leads to a restart
  std::function<bool()> restartPc;
  std::function<void(std::wstring_view text)> diagnose;
};

// Every kRebootCheckMilliseconds. `enabled`: the user has asked for the schedule; `minutes`: the time of the restart
// since midnight, 0..1439 (another number counts as kDefaultRestartMinutes). The warnings have windows of time, and a
// restart missed by up to five seconds is made up for; one missed by more waits for the next day.
void CheckScheduledReboot(ScheduledReboot& reboot, bool enabled, int32_t minutes, LocalTime now,
                          const RebootActions& actions);

// Each time the host has finished stopping. Restarts the machine when the schedule has stopped the host; never while
// the program is closing.
void RequestRestartAfterStop(ScheduledReboot& reboot, const RebootActions& actions);

}  // namespace tarnwick::system
