// Counts dropouts: one whole block of exact digital silence between two blocks of uninterrupted signal.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace tarnwick::engine {

inline constexpr uint64_t kMaximumGlitchCount = 10000;
inline constexpr std::chrono::seconds kGlitchGrace{1};  // after host start nothing is counted

// One per instance. The callback writes all of it; the user-interface thread sizes it while no block can touch it and
// reads and resets the count.
struct GlitchDetector {
  std::vector<float> history;  // the last three blocks of the output channel; block k in third k mod 3
  int32_t historyBlockLength = 0;
  uint64_t blocksSeen = 0;
  bool inGlitch = false;
  uint64_t glitchCount = 0;  // saturates at kMaximumGlitchCount
};

// Sizes the history for blocks of `n` samples, forgets what was seen and sets the count to 0. Allocates.
void ArmDetector(GlitchDetector& detector, int32_t n);
// Forgets what was seen, the count stays. Real-time safe.
void ForgetBlocks(GlitchDetector& detector) noexcept;
// The third of the history that the next block of `n` samples belongs in, or null when the history is not of that size.
float* NextHistoryBlock(GlitchDetector& detector, int32_t n) noexcept;
// Evaluates after the next block was written there. Real-time safe.
void EvaluateHistory(GlitchDetector& detector) noexcept;

}  // namespace tarnwick::engine
