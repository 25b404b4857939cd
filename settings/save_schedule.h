// When the settings are written: soon after a change, at most once a second however many changes there are, and at the
// end of the program; nothing while remembering is off.
//
// "Remember settings" off means that the stored settings stay as they are: the next start reads them as always, and
// knows from "rememberSettings" that it is off. So switching it off is the last thing that is stored: one write of the
// settings as they were at that moment, with what was still to be saved and the switch itself. What is changed
// afterwards is forgotten, also when that write comes up to a second later. Switching it on stores everything.
//
// Pure: it neither writes nor looks at a clock. The caller asks `due` now and then (a few times a second), writes what
// it is given and tells `written`; in between nothing else is due, so the write may be made on another thread.
// All members: user-interface thread.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "settings/settings_store.h"

namespace tarnwick::settings {

class SaveSchedule {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds kInterval{1};

  using CurrentSettings = std::function<SettingsMap()>;

  explicit SaveSchedule(bool remembering) noexcept : remembering_(remembering) {}

  // A setting other than remembering was changed.
  void changed() noexcept;
  // The switch stands so; `current` is only called when that switches remembering off.
  void remember(bool remembering, const CurrentSettings& current);

  // The settings that are to be written now, if any. `current` is only called when its settings are written.
  std::optional<SettingsMap> due(Clock::time_point now, const CurrentSettings& current);
  // The outcome of what `due` or `flush` gave. True when the failure is to be reported: the first one since a write
  // succeeded. A failed write is not repeated before the next change or the end of the program.
  bool written(bool succeeded) noexcept;

  // The settings that are to be written at the end of the program, whatever the time: the settings while remembering is
  // on, changed or not; otherwise what the switching-off has left to be written. A write under way is to be finished
  // first.
  std::optional<SettingsMap> flush(const CurrentSettings& current) const;

 private:
  bool remembering_;
  bool pending_ = false;
  bool underWay_ = false;
  bool failing_ = false;
  std::optional<Clock::time_point> lastWrite_;  // when the last one was handed out
  std::optional<SettingsMap> last_;             // while remembering is off: what is still to be stored
};

}  // namespace tarnwick::settings
