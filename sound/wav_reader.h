// Reads a whole WAV file into memory, as the sound of the virtual device's inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarnwick::sound {

inline constexpr int32_t kMaximumWavChannels = 1024;
// Room for the samples of one file, as floats.
inline constexpr uint64_t kMaximumWavBytes = uint64_t{2} << 30;

struct WavSamples {
  int32_t channels = 0;
  uint32_t sampleRate = 0;  // Hz, as the file states it
  size_t frames = 0;
  std::vector<float> samples;  // channel after channel; full scale is 1.0

  const float* channel(int32_t index) const { return samples.data() + static_cast<size_t>(index) * frames; }
};

// Takes PCM of 8, 16, 24 and 32 bits, floats of 32 and 64, plain and WAVE_FORMAT_EXTENSIBLE, as RIFF, RF64 or BW64.
// Unknown chunks are passed over. A file that is shorter than it says gives what is there, and no stated size makes
// this allocate more than the file's own length calls for. False, with the reason and the file's name in words, when
// there is nothing to play; `out` is then unspecified. Any thread.
bool ReadWav(const std::wstring& path, WavSamples& out, std::wstring* error, uint64_t maximumBytes = kMaximumWavBytes);

}  // namespace tarnwick::sound
