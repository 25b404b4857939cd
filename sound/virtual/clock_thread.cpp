#include "sound/virtual/clock_thread.h"

#include <algorithm>
#include <utility>

#include "platform/block_clock.h"
#include "platform/clock.h"
#include "platform/threads.h"

namespace tarnwick::sound {
namespace {

constexpr size_t kLatenessKept = 65536;

int64_t ticks(int64_t milliseconds) {
  return milliseconds * platform::CounterFrequency() / 1000;
}

// Blocks that are later than this are not caught up with: the device goes on from now, as hardware would that had lost
// its host for a while.
constexpr int64_t kStallMilliseconds = 100;
// A long wait is made of pieces, so that a stop need not wait for the end of a long block.
constexpr int64_t kSleepMilliseconds = 10;

}  // namespace

ClockThread::ClockThread(VirtualClock clock, bool held, int64_t blockLimit)
    : clock_(clock), held_(held), blockLimit_(blockLimit), lateness_(kLatenessKept) {}

ClockThread::~ClockThread() {
  stop();
}

void ClockThread::start(ClockRun run) {
  run_ = std::move(run);
  latenessCount_ = 0;
  blocks_.store(0, std::memory_order_release);
  stopping_.store(false, std::memory_order_relaxed);
  thread_ = std::thread([this] { this->run(); });
}

void ClockThread::stop() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    stopping_.store(true, std::memory_order_relaxed);
  }
  changed_.notify_all();
  thread_.join();
}

void ClockThread::release() {
  {
    const std::lock_guard lock(mutex_);
    released_ = true;
  }
  changed_.notify_all();
}

std::vector<int64_t> ClockThread::lateness() const {
  const auto count = static_cast<size_t>(latenessCount_);
  const size_t kept = std::min(count, kLatenessKept);
  std::vector<int64_t> newestLast(kept);
  for (size_t k = 0; k < kept; ++k) {
    newestLast[k] = lateness_[(count - kept + k) % kLatenessKept];
  }
  return newestLast;
}

void ClockThread::run() {
  platform::SetThreadName("twk-virtual");
  if (awaitRelease()) {
    deliverBlocks();
  }
}

bool ClockThread::awaitRelease() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !held_ || released_ || stopping_.load(std::memory_order_relaxed); });
  return !stopping_.load(std::memory_order_relaxed);
}

void ClockThread::awaitStop() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return stopping_.load(std::memory_order_relaxed); });
}

void ClockThread::deliverBlocks() {
  BlockSchedule schedule(platform::CounterFrequency(), run_.blockLength, run_.sampleRate, platform::CounterNow());
  for (int64_t block = 0; !stopping_.load(std::memory_order_relaxed); ++block) {
    if (block == blockLimit_) {
      awaitStop();
      return;
    }
    if (!awaitBlock(block, schedule)) {
      return;
    }
    run_.deliver(block);
    blocks_.store(block + 1, std::memory_order_release);
  }
}

// False when the run ends first.
bool ClockThread::awaitBlock(int64_t block, BlockSchedule& schedule) {
  if (clock_ == VirtualClock::fast) {
    return true;
  }
  const int64_t due = schedule.due(block);
  const int64_t now = platform::CounterNow();
  if (now - due > ticks(kStallMilliseconds)) {
    schedule.rebase(block, now);
  }
  if (!sleepUntil(due)) {
    return false;
  }
  lateness_[static_cast<size_t>(latenessCount_++) % kLatenessKept] = platform::CounterNow() - due;
  return true;
}

bool ClockThread::sleepUntil(int64_t tick) const {
  const int64_t piece = ticks(kSleepMilliseconds);
  for (int64_t now = platform::CounterNow(); now < tick; now = platform::CounterNow()) {
    // The last piece ends at the tick itself and is never a short rest of its own.
    platform::SleepUntil(tick - now > 2 * piece ? now + piece : tick);
    if (stopping_.load(std::memory_order_relaxed)) {
      return false;
    }
  }
  return true;
}

}  // namespace tarnwick::sound
