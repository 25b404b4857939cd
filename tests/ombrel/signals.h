// Test signals and measurements.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

#include "ombrel/expander.h"

namespace tarnwick::ombrel::test {

using Samples = std::vector<float>;

inline float FromDb(double db) {
  return static_cast<float>(std::pow(10.0, db / 20.0));
}

inline double RmsDb(std::span<const float> samples) {
  double sum = 0.0;
  for (const float sample : samples) {
    sum += static_cast<double>(sample) * static_cast<double>(sample);
  }
  return 10.0 * std::log10(sum / static_cast<double>(samples.size()) + 1e-30);
}

inline size_t Frames(double sampleRate, double milliseconds) {
  return static_cast<size_t>(std::lround(sampleRate * milliseconds / 1000.0));
}

// `rmsDb` is the sine's RMS.
inline void AddSine(std::span<float> target, double sampleRate, double frequency, double rmsDb) {
  const double amplitude = std::pow(10.0, rmsDb / 20.0) * std::numbers::sqrt2;
  for (size_t i = 0; i < target.size(); ++i) {
    const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate;
    target[i] += static_cast<float>(amplitude * std::sin(phase));
  }
}

// White noise, near to normal (sum of four uniform values), the same on every system.
inline void AddHiss(std::span<float> target, double rmsDb) {
  uint32_t state = 1;
  const double scale = std::pow(10.0, rmsDb / 20.0) * std::sqrt(3.0 / 4.0);
  for (float& sample : target) {
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
      state = state * 1664525U + 1013904223U;
      sum += static_cast<double>(state) / 2147483648.0 - 1.0;
    }
    sample += static_cast<float>(scale * sum);
  }
}

inline Expander MakeExpander(const ExpanderSettings& settings, double sampleRate = 48000.0) {
  Expander expander;
  expander.setTarget(settings);
  expander.prepare(sampleRate);
  return expander;
}

inline Samples Processed(Expander& expander, std::span<const float> input) {
  Samples output(input.size());
  expander.process(input.data(), output.data(), input.size());
  return output;
}

}  // namespace tarnwick::ombrel::test
