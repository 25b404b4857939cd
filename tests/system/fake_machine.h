// A machine with processes of its own, which notes what is asked of it.
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/processes.h"

namespace tarnwick::system {

using Calls = std::vector<std::string>;

struct FakeMachine {
  static constexpr uint32_t kOwn = 100;

  std::vector<platform::ProcessEntry> running{{kOwn, L"Tarnwick.exe"}};
  std::map<uint32_t, platform::ProcessAffinity> affinities{{kOwn, {0b1111, 0b1111}}};
  std::set<uint32_t> closed;    // may not be opened
  std::set<uint32_t> stubborn;  // refuse

  void add(uint32_t id, const std::wstring& executable, platform::ProcessAffinity affinity = {0b1111, 0b1111}) {
    running.push_back({id, executable});
    affinities[id] = affinity;
  }
  Calls noted() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  // And forgets them.
  Calls taken() {
    const std::lock_guard lock(mutex_);
    return std::exchange(calls_, {});
  }
  std::thread::id lastCaller() {
    const std::lock_guard lock(mutex_);
    return lastCaller_;
  }

  platform::Processes processes() {
    platform::Processes p;
    p.list = [this] { return running; };
    p.ownId = [] { return kOwn; };
    p.ownExecutable = [] { return std::wstring(L"Tarnwick.exe"); };
    p.readAffinity = [this](uint32_t id) { return affinities[id]; };
    p.changeAffinity = [this](uint32_t id, const platform::AffinityChoice& choose) {
      if (closed.count(id) != 0) {
        return platform::AffinityOutcome::denied;
      }
      const uint64_t mask = choose(affinities[id]);
      if (mask == 0) {
        return platform::AffinityOutcome::left;
      }
      if (stubborn.count(id) != 0) {
        return platform::AffinityOutcome::failed;
      }
      note("process " + std::to_string(id) + " to", mask);
      return platform::AffinityOutcome::set;
    };
    p.setOwnAffinity = [this](uint64_t mask) { return note("own to", mask); };
    p.limitNewThreads = [this](uint64_t mask) { note("new threads to", mask); };
    p.setOwnClass = [this](platform::ProcessClass own) { return note("class", static_cast<int>(own)); };
    p.setUiThreadLevel = [this](int32_t level) {
      note("level", level);
      return level;
    };
    return p;
  }

 private:
  template <typename Number>
  bool note(const std::string& call, Number value) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call + " " + std::to_string(value));
    lastCaller_ = std::this_thread::get_id();
    return true;
  }

  std::mutex mutex_;
  Calls calls_;
  std::thread::id lastCaller_;
};

}  // namespace tarnwick::system
