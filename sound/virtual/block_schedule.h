// When each block of the virtual device is due. Pure arithmetic on ticks of the counter.
#pragma once

#include <cstdint>

namespace tarnwick::sound {

// Sample rates that the virtual device runs at, in Hz.
inline constexpr double kLowestVirtualRate = 1.0;
inline constexpr double kHighestVirtualRate = 1'000'000.0;

// Block k is due k x blockLength / rate seconds after the origin. The time is computed from k anew for every block, in
// whole ticks, so nothing adds up: after a year the schedule is still within one tick. The rate counts to the
// thousandth of a hertz.
class BlockSchedule {
 public:
  // `frequency`: ticks a second. `rate` is clamped to the rates above.
  BlockSchedule(int64_t frequency, int32_t blockLength, double rate, int64_t originTick);

  // Tick at which `block` (not below the last rebase) is due.
  int64_t due(int64_t block) const;
  // Makes `block` due at `tick` and lets the later ones follow from there.
  void rebase(int64_t block, int64_t tick);

 private:
  int64_t frequency_;
  int64_t blockLength_;
  int64_t milliRate_;  // thousandths of a hertz
  int64_t originBlock_ = 0;
  int64_t originTick_;
};

}  // namespace tarnwick::sound
