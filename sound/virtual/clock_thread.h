// The virtual device's clock: the thread ("twk-virtual") that calls the host for every block. It asks for no priority
// of its own; the host gives its callback's thread what it is set to give.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/audio/audio_driver.h"
#include "sound/virtual/block_schedule.h"
#include "sound/virtual/capture_writer.h"
#include "sound/virtual/signal_sources.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::sound {

// The two halves of one channel's device buffer; null when the host has not asked for the channel.
using BufferHalves = std::array<void*, 2>;

// What one run needs. All of it outlives the run.
struct ClockRun {
  platform::AudioCallbacks callbacks;
  int32_t blockLength = 0;
  double sampleRate = 0.0;
  std::vector<BufferHalves> inputs;   // by channel
  std::vector<BufferHalves> outputs;  // by channel
  SignalSources* sources = nullptr;
  CaptureWriter* capture = nullptr;  // null = none
};

class ClockThread {
 public:
  // `options` outlive this.
  explicit ClockThread(const VirtualOptions& options);
  ClockThread(const ClockThread&) = delete;
  ClockThread& operator=(const ClockThread&) = delete;
  ~ClockThread();

  // Begins with block 0. User-interface thread, while stopped; may throw std::bad_alloc and std::system_error.
  void start(ClockRun run);
  // Returns when the last callback has. User-interface thread; nothing happens when stopped.
  void stop();
  bool running() const { return thread_.joinable(); }

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
  void changeRate(int64_t block, BlockSchedule& schedule);
  void deliver(int64_t block);
  void fillInputs(size_t half);
  void takeOutputs(size_t half);

  const VirtualOptions& options_;
  ClockRun run_;                   // clock thread, while it runs
  std::vector<float> scratch_;     // clock thread: one block of one channel
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
