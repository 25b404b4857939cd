#include "engine/glitch_detector.h"

#include <algorithm>
#include <atomic>

#include "engine/atomic_word.h"
#include "sound/block_ops.h"

namespace tarnwick::engine {
namespace {

constexpr uint64_t kBlocks = 3;

void countOne(uint64_t& count) noexcept {
  std::atomic_ref<uint64_t> shared(count);
  uint64_t seen = shared.load(std::memory_order_relaxed);
  while (seen < kMaximumGlitchCount && !shared.compare_exchange_weak(seen, seen + 1, std::memory_order_relaxed)) {
  }
}

}  // namespace

void ArmDetector(GlitchDetector& detector, int32_t n) {
  detector.history.assign(kBlocks * static_cast<size_t>(std::max(n, 0)), 0.0f);
  detector.historyBlockLength = n;
  ForgetBlocks(detector);
  StoreWord(detector.glitchCount, uint64_t{0});
}

void ForgetBlocks(GlitchDetector& detector) noexcept {
  // The history's samples need no clearing: none of them is looked at before three new blocks have replaced them.
  detector.blocksSeen = 0;
  detector.inGlitch = false;
}

float* NextHistoryBlock(GlitchDetector& detector, int32_t n) noexcept {
  if (detector.historyBlockLength != n || detector.history.size() != kBlocks * static_cast<size_t>(n)) {
    return nullptr;
  }
  return detector.history.data() + (detector.blocksSeen % kBlocks) * static_cast<size_t>(n);
}

void EvaluateHistory(GlitchDetector& detector) noexcept {
  detector.blocksSeen += 1;
  if (detector.blocksSeen < kBlocks) {
    return;
  }
  const int32_t n = detector.historyBlockLength;
  const auto block = [&detector, n](uint64_t number) {
    return detector.history.data() + (number % kBlocks) * static_cast<size_t>(n);
  };
  const float* oldest = block(detector.blocksSeen - 3);
  const float* middle = block(detector.blocksSeen - 2);
  const float* newest = block(detector.blocksSeen - 1);
  // The middle first: with signal its first sample already decides.
  const bool dropout = sound::AllZero(middle, n) && !sound::AnyZero(oldest, n) && !sound::AnyZero(newest, n);
  if (dropout && !detector.inGlitch) {
    countOne(detector.glitchCount);
  }
  detector.inGlitch = dropout;
}

}  // namespace tarnwick::engine
