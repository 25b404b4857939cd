// Sound files for the end-to-end tests, and measures on what comes back.
#pragma once

#include <string>
#include <vector>

#include "platform/virtual/wav_reader.h"

namespace tarnwick::tests {

using Channel = std::vector<float>;

// Equally long channels as a 32-bit float WAV. Fails the test when it cannot be written.
void WriteSound(const std::string& path, const std::vector<Channel>& channels, double sampleRate = 48000.0);
// A capture, or an empty one with the test failed.
platform::WavSamples ReadSound(const std::string& path);

// A spoken sentence, mono at 48000 Hz, by espeak-ng and sox (./test installs both), at most `seconds` long; its peak is
// `peak`. Fails the test, in words, when a tool is missing.
Channel Speech(double seconds, float peak);

// Root mean square of [from, from + count) in dBFS, at least -180.
double LevelDb(const float* samples, size_t from, size_t count);
// Level of the difference between two signals over `count` samples.
double DifferenceDb(const float* a, const float* b, size_t count);
bool AllFinite(const platform::WavSamples& sound);

}  // namespace tarnwick::tests
