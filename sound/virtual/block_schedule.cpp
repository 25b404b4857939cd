#include "sound/virtual/block_schedule.h"

#include <algorithm>
#include <cmath>

namespace tarnwick::sound {
namespace {

constexpr int64_t kMilli = 1000;

int64_t milliRate(double rate) {
  return std::llround(std::clamp(rate, kLowestVirtualRate, kHighestVirtualRate) * kMilli);
}

}  // namespace

BlockSchedule::BlockSchedule(int64_t frequency, int32_t blockLength, double rate, int64_t originTick)
    : frequency_(frequency), blockLength_(blockLength), milliRate_(milliRate(rate)), originTick_(originTick) {}

int64_t BlockSchedule::due(int64_t block) const {
  // Seconds and the rest of a second apart: the rest is below 1e9, a counter's frequency about 1e9, and their product
  // fits 64 bits, which frames x frequency would not for longer than some days.
  const int64_t milliFrames = (block - originBlock_) * blockLength_ * kMilli;
  const int64_t seconds = milliFrames / milliRate_;
  const int64_t rest = milliFrames % milliRate_;
  return originTick_ + seconds * frequency_ + rest * frequency_ / milliRate_;
}

void BlockSchedule::rebase(int64_t block, int64_t tick) {
  originBlock_ = block;
  originTick_ = tick;
}

}  // namespace tarnwick::sound
