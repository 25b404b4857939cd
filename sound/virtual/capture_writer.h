// Takes the outputs of the virtual device from its clock thread to a WAV file: a ring of whole blocks, and a thread of
// its own ("twk-capture") that does all the writing.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sound/block_ring.h"
#include "sound/wav_writer.h"

namespace tarnwick::sound {

// The outcome of a capture over the runs of one device. Any thread reads it.
class CaptureReport {
 public:
  void addLost(uint64_t frames) { lost_.fetch_add(frames, std::memory_order_relaxed); }
  uint64_t framesLost() const { return lost_.load(std::memory_order_relaxed); }
  void setError(const std::wstring& words);
  std::wstring error() const;  // the latest, or empty

 private:
  std::atomic<uint64_t> lost_{0};
  mutable std::mutex mutex_;
  std::wstring error_;
};

struct CaptureFormat {
  int32_t channels = 0;
  int32_t blockLength = 0;  // frames
  double sampleRate = 0.0;
};

// One run's capture. Built and destroyed on the user-interface thread; acquire and commit belong to the clock thread.
class CaptureWriter {
 public:
  // `file` and `report` outlive this. `waits`: a full ring holds the clock thread up until there is room, so nothing is
  // lost; otherwise the block is lost and counted. May throw std::bad_alloc and std::system_error.
  CaptureWriter(WavWriter& file, CaptureReport& report, const CaptureFormat& format, bool waits);
  CaptureWriter(const CaptureWriter&) = delete;
  CaptureWriter& operator=(const CaptureWriter&) = delete;
  // Returns when all that was committed is in the file and its header is right.
  ~CaptureWriter();

  // Room for one block, channel after channel; null when it is lost. Unless this waits it is real-time safe.
  float* acquire();
  // Hands the room on that acquire gave.
  void commit();

 private:
  void run();
  void drain();
  void writeBlock(const float* block);
  void awaitRoom();
  bool isRoom(size_t waiting) const;

  WavWriter& file_;
  CaptureReport& report_;
  const CaptureFormat format_;
  const bool waits_;
  BlockRing ring_;
  BlockRing::Writer writer_;        // clock thread
  BlockRing::Reader reader_;        // capture thread
  bool begun_ = false;              // capture thread: the file was begun, with the first block
  bool writing_ = false;            // capture thread: the file takes what comes
  std::vector<float> interleaved_;  // capture thread: one block

  std::mutex mutex_;
  std::condition_variable work_;  // `waiting_` or `ending_` has been set
  std::condition_variable room_;
  bool waiting_ = false;  // the clock thread waits for room; guarded by mutex_
  bool ending_ = false;   // guarded by mutex_
  std::thread thread_;
};

}  // namespace tarnwick::sound
