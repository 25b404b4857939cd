// The thread ("twk-alsa") that drives an ALSA device: waits for a block, calls the host, brings the device back after
// an error. It asks for no priority of its own; the host gives its callback's thread what it is set to give.
#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <thread>
#include <vector>

#include "platform/audio/alsa/alsa_pcm.h"
#include "platform/audio/alsa/alsa_recovery.h"
#include "platform/audio/alsa/alsa_wake.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// The outcome of a run. The device thread writes, any thread reads.
struct AlsaStatus {
  std::atomic<uint64_t> blocks{0};  // host called
  std::atomic<uint64_t> xruns{0};
  std::atomic<uint64_t> suspends{0};
  std::atomic<uint64_t> stalls{0};
  std::atomic<uint64_t> faults{0};
  std::atomic<int> lastFault{0};         // negative errno
  std::atomic<int> lost{0};              // the error that the device was given up for; 0 = not lost
  std::atomic<int32_t> captureDelay{0};  // frames between the socket and the buffer; 0 until known
  std::atomic<int32_t> playbackDelay{0};
};

// One run. All of it outlives the run.
struct AlsaRun {
  AudioCallbacks callbacks;
  int32_t blockLength = 0;
  double sampleRate = 0.0;
  bool tellsRate = false;        // the rate is not the one that the host asked for
  std::vector<void*> inputs[2];  // by half, then by channel; null when the host has not asked for the channel
  std::vector<void*> outputs[2];
  AlsaWake* lossSignal = nullptr;  // signalled when status.lost has been set; null = none
};

class AlsaThread {
 public:
  // `pcm` outlives this.
  explicit AlsaThread(AlsaPcm& pcm) : pcm_(pcm) {}
  AlsaThread(const AlsaThread&) = delete;
  AlsaThread& operator=(const AlsaThread&) = delete;
  ~AlsaThread() { stop(); }

  // Returns 0 when the device runs, else its error; then there is no thread. The first callback may come before the
  // return. User-interface thread, while stopped; may throw std::bad_alloc and std::system_error.
  int start(AlsaRun run);
  // Returns when the last callback has. User-interface thread; nothing happens when stopped.
  void stop();
  bool running() const { return thread_.joinable(); }
  const AlsaStatus& status() const { return status_; }

 private:
  void run(std::promise<int>& started);
  int restart();
  int deliverBlock();
  int awaitBlock();
  int moveBlock(AlsaDirection direction, void* const* buffers);
  void measureDelays();
  bool recover(int error);
  int resume();
  void count(AlsaEvent event, int error);
  bool stopping() const { return stopping_.load(std::memory_order_relaxed); }

  AlsaPcm& pcm_;
  AlsaRun run_;                       // device thread, while it runs
  std::vector<void*> silentOutputs_;  // null for each channel of playback
  AlsaFailures failures_;             // device thread
  size_t half_ = 0;                   // device thread: of the next block
  int32_t sinceStart_ = 0;            // device thread: blocks since the device was last started, no further than needed
  AlsaStatus status_;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace tarnwick::platform
