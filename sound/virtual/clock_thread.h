// The virtual device's clock: the thread ("twk-virtual") that runs every block. It asks for no priority of its own; the
// host gives its callback's thread what it is set to give.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "sound/virtual/block_schedule.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::sound {

struct ClockRun {
  int32_t blockLength = 0;
  double sampleRate = 0.0;
  // Runs block `block`, the first of which is 0; on the clock thread.
  std::function<void(int64_t block)> deliver;
};

class ClockThread {
 public:
  // `held`, `blockLimit`: see VirtualOptions.
  explicit ClockThread(VirtualClock clock, bool held = false, int64_t blockLimit = -1);
  ClockThread(const ClockThread&) = delete;
  ClockThread& operator=(const ClockThread&) = delete;
  ~ClockThread();

  // User-interface thread, while stopped; may throw std::bad_alloc and std::system_error.
  void start(ClockRun run);
  // Returns when the last block has. User-interface thread; nothing happens when stopped.
  void stop();

  // See VirtualDevice.
  void release();
  int64_t blocks() const { return blocks_.load(std::memory_order_acquire); }
  std::vector<int64_t> lateness() const;

 private:
  void run();
  bool awaitRelease();
  void awaitStop();
  void deliverBlocks();
  bool awaitBlock(int64_t block, BlockSchedule& schedule);
  bool sleepUntil(int64_t tick) const;

  const VirtualClock clock_;
  const bool held_;
  const int64_t blockLimit_;
  ClockRun run_;                   // clock thread, while it runs
  std::vector<int64_t> lateness_;  // ring; clock thread while it runs, then anyone
  int64_t latenessCount_ = 0;      // written to the ring since the start
  std::atomic<int64_t> blocks_{0};
  std::atomic<bool> stopping_{false};

  std::mutex mutex_;
  std::condition_variable changed_;  // released_ or stopping_ has been set
  bool released_ = false;            // guarded by mutex_
  std::thread thread_;
};

}  // namespace tarnwick::sound
