// The pink test signal that all instances share.
#pragma once

#include <cstdint>
#include <vector>

namespace tarnwick::engine {

// Written by the callback only, once a block before any instance runs; instances read `block`.
struct PinkNoise {
  uint32_t whiteState = 0x5A17C0DE;
  double b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0;
  bool calibrated = false;
  double meanSquare = 1.0;   // smoothed power of the unscaled noise
  std::vector<float> block;  // sized to the block length when the device starts
};

// The next unscaled sample: xorshift white noise (Marsaglia, "Xorshift RNGs", 2003) through a bank of one-pole filters
// that together fall by 3 dB an octave (Paul Kellet's refined method, published on musicdsp.org).
double NextPinkSample(PinkNoise& pink) noexcept;

// Fills the first `n` samples of the block buffer at -18 dBFS RMS, smoothed over three seconds. Does nothing unless
// n > 0, sampleRate > 1.0 Hz and the buffer holds n samples. Real-time safe.
void FillPinkBlock(PinkNoise& pink, int32_t n, double sampleRate) noexcept;

}  // namespace tarnwick::engine
