#include "settings/save_schedule.h"

#include <utility>

namespace tarnwick::settings {

void SaveSchedule::changed() noexcept {
  pending_ = pending_ || remembering_;
}

void SaveSchedule::remember(bool remembering, const CurrentSettings& current) {
  if (remembering == remembering_) {
    return;
  }
  remembering_ = remembering;
  pending_ = true;
  if (remembering) {
    last_.reset();
  } else {
    last_ = current();
  }
}

std::optional<SettingsMap> SaveSchedule::due(Clock::time_point now, const CurrentSettings& current) {
  const bool tooSoon = lastWrite_ && now - *lastWrite_ < kInterval;
  if (!pending_ || underWay_ || tooSoon) {
    return std::nullopt;
  }
  pending_ = false;
  underWay_ = true;
  lastWrite_ = now;
  return remembering_ ? current() : last_;
}

bool SaveSchedule::written(bool succeeded) noexcept {
  underWay_ = false;
  if (succeeded && !remembering_ && !pending_) {
    last_.reset();
  }
  const bool report = !succeeded && !failing_;
  failing_ = !succeeded;
  return report;
}

std::optional<SettingsMap> SaveSchedule::flush(const CurrentSettings& current) const {
  return remembering_ ? current() : last_;
}

}  // namespace tarnwick::settings
