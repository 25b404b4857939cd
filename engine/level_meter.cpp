#include "engine/level_meter.h"

#include <algorithm>
#include <cmath>

#include "engine/atomic_word.h"
#include "sound/block_ops.h"

namespace tarnwick::engine {

int32_t MeterWindowLength(double sampleRate) noexcept {
  const double rate = sampleRate > 1.0 ? sampleRate : 48000.0;
  return static_cast<int32_t>(std::clamp(std::round(rate / 10.0), 1.0, 1e9));
}

namespace {

// Takes a whole block into the ring and the sum.
void addBlock(MeterRing& ring, const MeterWindow& window, double head, double tail) noexcept {
  const int32_t whole = window.wholeBlocks;
  const int32_t at = ring.position;
  const int32_t next = at == whole ? 0 : at + 1;
  double sum = ring.sumSquares + (head + tail);
  if (ring.blocksFed >= whole) {
    sum -= ring.blocks[next].head;  // of that block the tail alone is in the window from now on
  }
  if (ring.blocksFed > whole) {
    sum -= ring.blocks[at].tail;
  } else {
    ring.blocksFed += 1;
    StoreWord(ring.fillCount, std::min(window.length, ring.blocksFed * window.blockLength));
  }
  const double lap = at == 0 ? tail : ring.lapSquares + (head + tail);
  ring.blocks[at] = {head, tail};
  ring.position = next;
  ring.lapSquares = lap;
  StoreWord(ring.sumSquares, next == 0 ? lap : sum);
}

}  // namespace

void ResetRing(MeterRing& ring) noexcept {
  StoreWord(ring.sumSquares, 0.0);
  StoreWord(ring.fillCount, 0);
  ring.position = 0;
  ring.blocksFed = 0;
  ring.taken = 0;
  ring.present = {};
  ring.lapSquares = 0.0;
}

double FeedRing(MeterRing& ring, const MeterWindow& window, const float* samples, int32_t n) noexcept {
  if (ring.generation != window.generation) {
    ring.generation = window.generation;
    ResetRing(ring);
  }
  if (ring.capacity <= window.wholeBlocks) {
    return 0.0;
  }
  const int32_t headLength = window.blockLength - window.tail;
  if (n == window.blockLength && ring.taken == 0) {
    const double head = sound::SumOfSquares(samples, headLength);
    const double tail = window.tail > 0 ? sound::SumOfSquares(samples + headLength, window.tail) : 0.0;
    addBlock(ring, window, head, tail);
    return head + tail;
  }
  double fed = 0.0;
  while (n > 0) {
    const bool inHead = ring.taken < headLength;
    const int32_t count = std::min(n, (inHead ? headLength : window.blockLength) - ring.taken);
    const double squares = sound::SumOfSquares(samples, count);
    (inHead ? ring.present.head : ring.present.tail) += squares;
    fed += squares;
    ring.taken += count;
    samples += count;
    n -= count;
    if (ring.taken == window.blockLength) {
      addBlock(ring, window, ring.present.head, ring.present.tail);
      ring.taken = 0;
      ring.present = {};
    }
  }
  return fed;
}

float RingLevelDb(const MeterRing& ring) noexcept {
  const int32_t filled = LoadWord(ring.fillCount);
  const double sum = LoadWord(ring.sumSquares);
  float rms = 0.0f;
  if (filled > 0 && sum > 0.0) {
    rms = static_cast<float>(std::sqrt(sum / filled));
  }
  return 20.0f * std::log10(std::max(1e-9f, rms));
}

MeterBank::MeterBank(int32_t rings) : rings_(static_cast<size_t>(rings)) {}

void MeterBank::prepare(double sampleRate, int32_t blockLength) {
  window_.blockLength = std::max(1, blockLength);
  const int32_t capacity = MeterWindowLength(kMaximumMeterRate) / window_.blockLength + 1;
  if (capacity > rings_.front().capacity) {
    storage_.reset(new MeterBlock[rings_.size() * static_cast<size_t>(capacity)]);
    for (size_t k = 0; k < rings_.size(); ++k) {
      rings_[k].blocks = storage_.get() + k * static_cast<size_t>(capacity);
      rings_[k].capacity = capacity;
    }
  }
  markStale();
  adoptRate(sampleRate);
}

void MeterBank::adoptRate(double sampleRate) noexcept {
  const int32_t length = std::min(MeterWindowLength(sampleRate), MeterWindowLength(kMaximumMeterRate));
  if (std::fabs(sampleRate - window_.rateUsed) > 0.25 || length != window_.length) {
    const int32_t n = window_.blockLength;
    window_ = MeterWindow{sampleRate, length, n, length / n, length % n, window_.generation + 1};
  }
}

}  // namespace tarnwick::engine
