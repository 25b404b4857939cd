#include "sounds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "platform/temporary_folder.h"
#include "platform/virtual/wav_writer.h"
#include "program.h"

namespace tarnwick::tests {
namespace {

bool runTool(const std::string& tool, const std::vector<std::string>& arguments) {
  const ProgramResult result = RunningProgram(arguments, {}, tool).finish();
  EXPECT_EQ(result.exitCode, 0) << tool << " is needed and did not do its work (./test installs it): " << result.err;
  return result.exitCode == 0;
}

double decibels(double squares, size_t count) {
  return count == 0 ? -180.0 : std::max(-180.0, 10.0 * std::log10(squares / static_cast<double>(count) + 1e-18));
}

// Spoken once for all tests.
Channel spoken() {
  const platform::TemporaryFolder folder;
  platform::WavSamples sound;
  std::wstring error;
  if (!runTool("espeak-ng",
               {"-w", folder.name("raw.wav"), "One, two, three. Good evening, and welcome to the show."}) ||
      !runTool("sox", {folder.name("raw.wav"), "-c", "1", "-r", "48000", "-b", "32", "-e", "floating-point",
                       folder.name("speech.wav"), "norm", "-6"})) {
    return {};
  }
  EXPECT_TRUE(ReadWav(folder.wide("speech.wav"), sound, &error)) << platform::Utf8FromWide(error);
  return {sound.samples.begin(), sound.samples.end()};
}

}  // namespace

void WriteSound(const std::string& path, const std::vector<Channel>& channels, double sampleRate) {
  platform::WavWriter file;
  std::wstring error;
  const size_t frames = channels.front().size();
  std::vector<float> interleaved(frames * channels.size());
  for (size_t c = 0; c < channels.size(); ++c) {
    for (size_t k = 0; k < frames; ++k) {
      interleaved[k * channels.size() + c] = channels[c][k];
    }
  }
  const bool written = file.open(platform::WideFromUtf8(path), static_cast<int32_t>(channels.size()), &error) &&
                       file.begin(sampleRate, &error) && file.write(interleaved.data(), frames, &error) &&
                       file.refreshHeader();
  ASSERT_TRUE(written) << platform::Utf8FromWide(error);
}

platform::WavSamples ReadSound(const std::string& path) {
  platform::WavSamples sound;
  std::wstring error;
  if (!platform::ReadWav(platform::WideFromUtf8(path), sound, &error)) {
    ADD_FAILURE() << platform::Utf8FromWide(error);
    return {};
  }
  return sound;
}

Channel Speech(double seconds, float peak) {
  static const Channel words = spoken();
  Channel part(words.begin(),
               words.begin() + static_cast<ptrdiff_t>(std::min(words.size(), static_cast<size_t>(seconds * 48000.0))));
  float highest = 1e-9f;
  for (const float sample : part) {
    highest = std::max(highest, std::abs(sample));
  }
  for (float& sample : part) {
    sample *= peak / highest;
  }
  return part;
}

double LevelDb(const float* samples, size_t from, size_t count) {
  double squares = 0.0;
  for (size_t k = from; k < from + count; ++k) {
    squares += static_cast<double>(samples[k]) * static_cast<double>(samples[k]);
  }
  return decibels(squares, count);
}

double DifferenceDb(const float* a, const float* b, size_t count) {
  double squares = 0.0;
  for (size_t k = 0; k < count; ++k) {
    const double difference = static_cast<double>(a[k]) - static_cast<double>(b[k]);
    squares += difference * difference;
  }
  return decibels(squares, count);
}

bool AllFinite(const platform::WavSamples& sound) {
  return std::all_of(sound.samples.begin(), sound.samples.end(), [](float sample) { return std::isfinite(sample); });
}

}  // namespace tarnwick::tests
