// An ALSA device that follows a script, without a clock: every wait for frames lets one block pass.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/audio/alsa/alsa_pcm.h"

namespace tarnwick::platform {

enum class FakeCall { prepare, start, available, wait, capture, playback, resume };

// From the time that the host has been called `block` times, `call` answers `error` for `times` times.
struct FakeFault {
  FakeCall call;
  int64_t block;
  int error;
  int times = 1;
};
inline constexpr int kEndlessWait = 1;  // `error` of a wait that runs into its limit

inline constexpr long kFakeBlock = 64;
inline constexpr long kFakeHeld = 2 * kFakeBlock;

// One channel of 32-bit numbers in each direction. What is captured counts on from 1; what is played is kept. The
// device thread's, but for `wake`; the test looks when that has ended.
class FakePcm final : public AlsaPcm {
 public:
  bool captures = true;
  bool plays = true;
  std::vector<FakeFault> faults;
  long chunk = kFakeBlock;          // most frames of one transfer
  int falseWakes = 0;               // waits that are over at once, before each true one
  int64_t stallsAfter = INT64_MAX;  // blocks, after which the device stands still: waits take their time
  long delay = 0;

  int prepares = 0;
  int naps = 0;
  int64_t hostCalls = 0;  // set by the host
  std::vector<int32_t> played;
  std::vector<size_t> silences;  // where in `played` the device was primed

  bool has(AlsaDirection direction) const override { return direction == AlsaDirection::capture ? captures : plays; }
  int prepare() override {
    ++prepares;
    captured_ = queued_ = 0;
    broken_ = false;
    return fault(FakeCall::prepare);
  }
  int prime() override {
    silences.push_back(played.size());
    played.insert(played.end(), static_cast<size_t>(kFakeHeld), 0);
    queued_ = kFakeHeld;
    return 0;
  }
  int start() override { return fault(FakeCall::start); }
  void drop() override {}
  int resume() override { return fault(FakeCall::resume); }
  long available(AlsaDirection direction) override {
    if (const int error = fault(FakeCall::available)) {
      return error;
    }
    if (broken_) {
      return -EPIPE;
    }
    return direction == AlsaDirection::capture ? captured_ : kFakeHeld - queued_;
  }
  long transfer(AlsaDirection direction, void* const* buffers, long offset, long frames) override {
    const bool in = direction == AlsaDirection::capture;
    if (const int error = fault(in ? FakeCall::capture : FakeCall::playback)) {
      return error;
    }
    const long count = std::min({chunk, frames, in ? captured_ : kFakeHeld - queued_});
    for (long k = 0; k < count; ++k) {
      auto* const channel = static_cast<int32_t*>(buffers[0]);
      if (in) {
        channel[offset + k] = ++counter_;
      } else {
        played.push_back(channel != nullptr ? channel[offset + k] : 0);
      }
    }
    (in ? captured_ : queued_) += in ? -count : count;
    return count;
  }
  int wait(bool capture, bool playback, int milliseconds) override {
    if (!capture && !playback) {
      ++naps;
      return 0;
    }
    if (const int error = fault(FakeCall::wait)) {
      return error == kEndlessWait ? 0 : error;
    }
    if (hostCalls >= stallsAfter) {
      std::unique_lock lock(mutex_);
      return changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return woken_; }) ? 1 : 0;
    }
    if (falseWakesLeft_ > 0) {
      --falseWakesLeft_;
      return 1;
    }
    falseWakesLeft_ = falseWakes;
    captured_ += captures ? kFakeBlock : 0;
    queued_ -= plays ? kFakeBlock : 0;
    broken_ = queued_ < 0;
    return 1;
  }
  void wake() override {
    {
      const std::lock_guard lock(mutex_);
      woken_ = true;
    }
    changed_.notify_all();
  }
  int hardwareDelay(AlsaDirection direction, long& frames) override {
    frames = direction == AlsaDirection::capture ? delay : 2 * delay;
    return 0;
  }

 private:
  int fault(FakeCall call) {
    for (FakeFault& one : faults) {
      if (one.call == call && hostCalls >= one.block && one.times > 0) {
        --one.times;
        return one.error;
      }
    }
    return 0;
  }

  long captured_ = 0;
  long queued_ = 0;
  int32_t counter_ = 0;
  int falseWakesLeft_ = 0;
  bool broken_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool woken_ = false;
};

}  // namespace tarnwick::platform
