// Sounds for the inputs of the virtual device: generators that give the same sound on every run, or a WAV file.
#pragma once

#include <cstdint>
#include <vector>

#include "sound/virtual/virtual_driver.h"
#include "sound/wav_reader.h"

namespace tarnwick::sound {

// Small fast random numbers (Marsaglia's xorshift, 64 bits), the same everywhere.
class RandomBits {
 public:
  explicit RandomBits(uint64_t seed);
  uint32_t next();
  int32_t whole();  // in [-2^23, 2^23)
  float bipolar();  // in [-1, 1)

 private:
  uint64_t state_;
};

// A sine of -18 dBFS peak. Channels differ in pitch: chromatic from 110 Hz, four octaves, then again.
class ToneSource {
 public:
  ToneSource(int32_t channel, double rate);
  void render(float* out, int32_t frames);

 private:
  uint64_t phase_ = 0;  // 2^64 is one period, so it wraps without loss
  uint64_t step_ = 0;
};

// Noise with equal power in every octave, -21 dBFS RMS (as the tone), by summing white noises that change at rates one
// octave apart: R. F. Voss's method as told by M. Gardner, "White and brown music, fractal curves and one-over-f
// fluctuations", Scientific American, April 1978.
class PinkNoiseSource {
 public:
  explicit PinkNoiseSource(int32_t channel);
  void render(float* out, int32_t frames);

 private:
  static constexpr int kRows = 16;
  RandomBits random_;
  uint32_t counter_ = 0;
  int32_t rows_[kRows];
  int32_t sum_ = 0;  // of the rows; whole numbers, so that it never goes astray
};

// Notes on a plucked string, six and a rest, over a hiss of -72 dBFS peak: something for an expander to work on.
// K. Karplus and A. Strong, "Digital synthesis of plucked-string and drum timbres", Computer Music Journal 7(2), 1983,
// tuned by an all-pass filter in the loop: D. A. Jaffe and J. O. Smith, "Extensions of the Karplus-Strong
// plucked-string algorithm", same issue.
class PluckSource {
 public:
  PluckSource(int32_t channel, double rate);
  void render(float* out, int32_t frames);

 private:
  void nextNote();
  void pluck(double frequency);
  float envelope();

  RandomBits random_;
  double rate_ = 0.0;
  std::vector<float> string_;
  size_t length_ = 0;  // of the string, in samples; 0 = at rest
  size_t position_ = 0;
  float previous_ = 0.0f;      // sample that left the string last
  float allPassState_ = 0.0f;  // its output less the coefficient's part
  float allPass_ = 0.0f;
  float loss_ = 0.0f;  // gain of one way round
  int32_t step_ = 0;   // of the phrase
  int64_t remaining_ = 0;
  int64_t elapsed_ = 0;
  int64_t ramp_ = 1;  // samples in which a note fades in and out
};

enum class VirtualSource { tone, pinkNoise, pluckedNotes, silence };

// All inputs of one device. Built on the user-interface thread for each run, then used by the clock thread alone.
class SignalSources {
 public:
  // Inputs are plucked notes, tone, pink noise and silence in turn. `file` (which outlives this) replaces them all:
  // input k hears its channel k mod channels, looped, sample by sample. Null = none.
  SignalSources(int32_t inputs, const WavSamples* file, double rate);

  // The next `frames` samples of `input`. Real-time safe.
  void render(int32_t input, float* out, int32_t frames);

 private:
  struct Input {
    VirtualSource kind = VirtualSource::silence;
    size_t index = 0;         // among the sources of its kind
    size_t filePosition = 0;  // frames
  };
  void renderFile(int32_t input, float* out, int32_t frames);

  std::vector<Input> inputs_;
  std::vector<ToneSource> tones_;
  std::vector<PinkNoiseSource> noises_;
  std::vector<PluckSource> plucks_;
  const WavSamples* file_;
};

}  // namespace tarnwick::sound
