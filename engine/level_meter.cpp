#include "engine/level_meter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "engine/atomic_word.h"
#include "sound/block_ops.h"

namespace tarnwick::engine {

int32_t MeterWindowLength(double sampleRate) noexcept {
  const double rate = sampleRate > 1.0 ? sampleRate : 48000.0;
  return static_cast<int32_t>(std::clamp(std::round(rate / 10.0), 1.0, 1e9));
}

void ResetRing(MeterRing& ring) noexcept {
  StoreWord(ring.sumSquares, 0.0);
  StoreWord(ring.fillCount, 0);
  ring.writeIndex = 0;
  ring.lapSquares = 0.0;
}

double FeedRing(MeterRing& ring, const MeterWindow& window, const float* samples, int32_t n) noexcept {
  if (ring.generation != window.generation) {
    ring.generation = window.generation;
    ring.length = std::min(window.length, ring.capacity);
    ResetRing(ring);
  }
  if (ring.length < 1) {
    return 0.0;
  }
  double fed = 0.0;
  double sum = ring.sumSquares;
  int32_t filled = ring.fillCount;
  while (n > 0) {
    const int32_t count = std::min(n, ring.length - ring.writeIndex);
    const sound::RingSums squares = sound::ExchangeSquares(ring.ring + ring.writeIndex, samples, count);
    // Until the ring is full nothing leaves it: what is overwritten is older than the last reset.
    const bool full = filled >= ring.length;
    sum += full ? squares.entering - squares.leaving : squares.entering;
    filled = full ? filled : filled + count;
    ring.lapSquares += squares.entering;
    fed += squares.entering;
    ring.writeIndex += count;
    if (ring.writeIndex == ring.length) {
      ring.writeIndex = 0;
      sum = ring.lapSquares;
      ring.lapSquares = 0.0;
    }
    samples += count;
    n -= count;
  }
  StoreWord(ring.sumSquares, sum);
  StoreWord(ring.fillCount, filled);
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

void MeterBank::prepare(double sampleRate) {
  const int32_t capacity = MeterWindowLength(kMaximumMeterRate);
  if (!storage_) {
    // Left uninitialised on purpose: only the pages of the window in use become resident.
    storage_.reset(new float[rings_.size() * static_cast<size_t>(capacity)]);
    for (size_t k = 0; k < rings_.size(); ++k) {
      rings_[k].ring = storage_.get() + k * static_cast<size_t>(capacity);
      rings_[k].capacity = capacity;
    }
  }
  markStale();
  adoptRate(sampleRate);
  for (MeterRing& ring : rings_) {
    std::memset(ring.ring, 0, static_cast<size_t>(std::min(window_.length, ring.capacity)) * sizeof(float));
  }
}

void MeterBank::adoptRate(double sampleRate) noexcept {
  const int32_t length = MeterWindowLength(sampleRate);
  if (std::fabs(sampleRate - window_.rateUsed) > 0.25 || length != window_.length) {
    window_ = MeterWindow{sampleRate, length, window_.generation + 1};
  }
}

}  // namespace tarnwick::engine
