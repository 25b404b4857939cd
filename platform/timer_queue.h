// Repeating timers as a function of the time that is passed in. One thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace tarnwick::platform {

class TimerQueue {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using TimerId = uint32_t;

  // First due one interval (at least 1 ms) after `now`. Ids start at 1 and are not used twice.
  TimerId start(Time now, std::chrono::milliseconds interval, std::function<void()> tick) {
    interval = std::max(interval, std::chrono::milliseconds{1});
    const TimerId timer = ++lastId_;
    timers_[timer] = {now + interval, interval, std::make_shared<std::function<void()>>(std::move(tick))};
    return timer;
  }

  // Also from inside a tick, its own included. An unknown id is ignored.
  void stop(TimerId timer) { timers_.erase(timer); }
  void clear() { timers_.clear(); }

  std::optional<Time> nextDue() const {
    std::optional<Time> next;
    for (const auto& [timer, entry] : timers_) {
      next = next ? std::min(*next, entry.due) : entry.due;
    }
    return next;
  }

  // Takes the timer that has been due longest and moves it on to the first of its instants after `now`: a late timer
  // keeps its beat and skips what it missed. Empty when none is due. The caller runs the tick, which may start and stop
  // any timer. To be called until empty, with the same `now`.
  std::shared_ptr<std::function<void()>> takeDue(Time now) {
    const auto earliest = std::min_element(timers_.begin(), timers_.end(),
                                           [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
    if (earliest == timers_.end() || earliest->second.due > now) {
      return nullptr;
    }
    Entry& entry = earliest->second;
    entry.due += ((now - entry.due) / entry.interval + 1) * entry.interval;
    return entry.tick;
  }

 private:
  struct Entry {
    Time due;
    std::chrono::milliseconds interval;
    std::shared_ptr<std::function<void()>> tick;  // shared, so that a tick that stops its own timer is not destroyed
  };

  std::map<TimerId, Entry> timers_;
  TimerId lastId_ = 0;
};

}  // namespace tarnwick::platform
