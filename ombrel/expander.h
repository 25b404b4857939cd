// A soft-knee downward expander for one channel: what lies below the threshold (a live microphone's hiss between the
// words) becomes quieter, what lies above passes. No latency, no allocation, no lock, no exception.
#pragma once

#include <array>
#include <cstddef>

namespace tarnwick::ombrel {

struct ExpanderSettings {
  float amount = 0.5F;         // 0..1: the share of the full gain reduction, in decibels, that is applied
  float thresholdDb = -45.0F;  // dB, 0 dB = full scale
  float releaseMs = 150.0F;    // time constant, above 0, of turning down after the level has fallen
};

// The strongest gain reduction in dB, at full amount: quiet, but never mute.
constexpr float kRangeDb = 36.0F;

// All methods: one thread at a time. Output never depends on how a stream is cut into process calls; a changed setting
// counts from the next multiple of kStep samples on.
class Expander {
 public:
  // Level and gain are worked out once per this many samples; between two such points the gain is a straight line.
  static constexpr size_t kStep = 16;

  Expander() { prepare(48000.0); }

  // Sets the sample rate in Hz (above 0) and resets.
  void prepare(double sampleRate);

  // Sets where the settings go. Nothing of it clicks: amount glides there, full travel in 50 ms; what threshold and
  // release change reaches the gain through its own attack and release.
  void setTarget(const ExpanderSettings& settings);

  // Forgets the signal; amount stands at its target and the gain is 1.
  void reset();

  // `output` may be `input`. With amount at 0 every sample comes out bit for bit. A sample that is not finite passes on
  // as such and leaves no trace in later ones.
  void process(const float* input, float* output, size_t sampleCount);

 private:
  void finishStep();

  ExpanderSettings target_;
  float samplesPerMs_ = 48.0F;
  float levelCoefficient_ = 0.0F;
  float attackCoefficient_ = 0.0F;
  float releaseCoefficient_ = 0.0F;
  float amountTravel_ = 0.0F;  // per step

  std::array<float, kStep> window_ = {};  // input of the current step
  size_t position_ = 0;                   // samples of it that have arrived
  float amount_ = 0.0F;
  float meanSquare_ = 0.0F;
  float fullGainDb_ = 0.0F;  // smoothed gain, before the amount
  float gainFrom_ = 1.0F;    // gain at the beginning of the current step
  float gainTo_ = 1.0F;      // and at its end
};

}  // namespace tarnwick::ombrel
