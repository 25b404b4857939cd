// Sound files for the end-to-end tests, and measures on what comes back.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "platform/text.h"
#include "sound/wav_reader.h"
#include "sound/wav_writer.h"

namespace tarnwick::tests {

using Channel = std::vector<float>;

// Half a second of noise within `peak`, half a second of hiss, and so on.
constexpr size_t kPart = 24000;
inline Channel Bursts(size_t parts, float peak) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
  Channel sound(parts * kPart);
  for (size_t k = 0; k < sound.size(); ++k) {
    sound[k] = noise(random) * (k / kPart % 2 == 0 ? peak : 0.001f);
  }
  return sound;
}

// A 32-bit float WAV at 48000 Hz of interleaved samples.
inline void WriteSound(const std::string& path, const Channel& sound, int32_t channels = 1) {
  sound::WavWriter file;
  std::wstring error;
  const bool written = file.open(platform::WideFromUtf8(path), channels, &error) && file.begin(48000.0, &error) &&
                       file.write(sound.data(), sound.size() / static_cast<size_t>(channels), &error) &&
                       file.refreshHeader();
  ASSERT_TRUE(written) << platform::Utf8FromWide(error);
}

// A capture, all of it finite, or an empty one with the test failed.
inline sound::WavSamples ReadSound(const std::string& path) {
  sound::WavSamples sound;
  std::wstring error;
  if (!sound::ReadWav(platform::WideFromUtf8(path), sound, &error)) {
    ADD_FAILURE() << platform::Utf8FromWide(error);
    return {};
  }
  EXPECT_TRUE(std::all_of(sound.samples.begin(), sound.samples.end(), [](float s) { return std::isfinite(s); }));
  return sound;
}

// Root mean square of [from, from + count) in dBFS, at least -180.
inline double LevelDb(const float* samples, size_t from, size_t count) {
  double squares = 0.0;
  for (size_t k = from; k < from + count; ++k) {
    squares += static_cast<double>(samples[k]) * static_cast<double>(samples[k]);
  }
  return count == 0 ? -180.0 : std::max(-180.0, 10.0 * std::log10(squares / static_cast<double>(count) + 1e-18));
}

}  // namespace tarnwick::tests
