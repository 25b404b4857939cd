// Level meters: a 100 ms sliding window of squares for each instance and each device channel.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/session_limits.h"

namespace tarnwick::engine {

inline constexpr float kNoSignalDb = -100.0f;     // an instance without a source
inline constexpr int32_t kMeteredChannels = 128;  // device inputs, and as many outputs

// Meter window in samples: a tenth of a second, at least 1. A rate of 1.0 Hz or less means 48000.
int32_t MeterWindowLength(double sampleRate) noexcept;

// Sums of the squares of one block: of its first samples, and of its last W mod n, W being the window and n the block's
// length.
struct MeterBlock {
  double head = 0.0;
  double tail = 0.0;
};

// A level is read at the end of a block, where the window always begins at the same place of a block: it is the last
// W / n whole blocks and the tail of the one before them. So the two sums of each block are all that a ring keeps.
//
// A block's sums are added and those that leave the window subtracted, in double precision. Once a lap of the ring the
// sum is replaced by one that was built by adding alone (`lapSquares`), so rounding never piles up for longer than two
// laps: with W samples of at most magnitude A the sum is off by at most 2 * W * 2^-53 * (W * A^2), for a window of 4800
// full-scale samples 5e-9, a level of -120 dBFS. The same replacement lets the meter recover two laps after an input
// that was not a number.
//
// Fed by one audio thread at a time; the sum and the count may be read by the user-interface thread.
struct MeterRing {
  MeterBlock* blocks = nullptr;  // storage of `capacity` blocks, owned by a MeterBank
  int32_t capacity = 0;
  uint32_t generation = 0;  // of the window that the ring was last emptied for
  double sumSquares = 0.0;
  int32_t fillCount = 0;    // samples of whole blocks fed so far, saturating at the window
  int32_t position = 0;     // where the next block goes
  int32_t blocksFed = 0;    // saturating at the ring's length
  int32_t taken = 0;        // samples of the present block that have come
  MeterBlock present;       // their squares
  double lapSquares = 0.0;  // squares fed since `position` was last 0, that block's head left out
};

// The window that a set of rings uses; its generation changes with every recomputation.
struct MeterWindow {
  double rateUsed = 0.0;
  int32_t length = 0;       // samples; 0 = to be recomputed
  int32_t blockLength = 1;  // samples
  int32_t wholeBlocks = 0;  // in the window; a ring is one block longer
  int32_t tail = 0;         // samples of the block before those
  uint32_t generation = 0;
};

// Empties a ring. Real-time safe.
void ResetRing(MeterRing& ring) noexcept;
// Feeds `n` samples, all or a part of a block; the level follows when a block is whole. A ring that has another window
// is emptied first. Returns the sum of the squares fed. Real-time safe.
double FeedRing(MeterRing& ring, const MeterWindow& window, const float* samples, int32_t n) noexcept;
// RMS level in dBFS of what the ring holds, at least -180; for an empty ring that floor. Any thread.
float RingLevelDb(const MeterRing& ring) noexcept;

// Peak and energy of a channel since the host started, for the closing summary. Fed by the callback.
struct ChannelTotals {
  float peak = 0.0f;
  double squares = 0.0;
  int64_t frames = 0;
};

// The storage of a set of rings that share one window. Allocated on the user-interface thread while no block runs; the
// storage is large enough for kMaximumMeterRate, so that a device that changes its rate needs no allocation.
class MeterBank {
 public:
  static constexpr double kMaximumMeterRate = platform::kHighestSampleRate;

  explicit MeterBank(int32_t rings);

  // Makes room for the windows of all rates in blocks of `blockLength` (1 or more) samples, and empties the rings. May
  // throw std::bad_alloc. User-interface thread.
  void prepare(double sampleRate, int32_t blockLength);
  // Recomputes the window when `sampleRate` differs from the rate last used by more than 0.25 Hz or gives another
  // length; every ring is then emptied as it is next fed. A window is at most that of kMaximumMeterRate. Callback;
  // real-time safe.
  void adoptRate(double sampleRate) noexcept;
  // Makes the next adoptRate recompute. Callback, or the user-interface thread while no block runs.
  void markStale() noexcept { window_.length = 0; }
  const MeterWindow& window() const noexcept { return window_; }

  MeterRing& ring(int32_t index) noexcept { return rings_[static_cast<size_t>(index)]; }
  const MeterRing& ring(int32_t index) const noexcept { return rings_[static_cast<size_t>(index)]; }

 private:
  std::vector<MeterRing> rings_;
  std::unique_ptr<MeterBlock[]> storage_;
  MeterWindow window_;
};

}  // namespace tarnwick::engine
