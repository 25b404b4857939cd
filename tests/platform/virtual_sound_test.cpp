#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "platform/virtual/sample_convert.h"
#include "platform/virtual/signal_sources.h"
#include "platform/virtual/wav_reader.h"
#include "platform/virtual/wav_writer.h"
#include "temporary_folder.h"
#include "virtual_host.h"

namespace tarnwick::platform {
namespace {

// Sound goes through each sample type in both directions: source, device buffer, host, device buffer, capture.
TEST(VirtualSound, EverySampleTypeCarriesTheSound) {
  struct Case {
    int32_t type;
    double tolerance;
  };
  const Case cases[] = {{kInt16MSB, 0.5 / 32768},
                        {kInt16LSB, 0.5 / 32768},
                        {kInt24MSB, 0.5 / 8388608},
                        {kInt24LSB, 0.5 / 8388608},
                        {kInt32LSB, 1e-8},
                        {kFloat32LSB, 0.0},
                        {kFloat64LSB, 0.0},
                        {2, 1e-8},
                        {25, 1e-8}};
  TemporaryFolder folder;
  SignalSources expected(4, {}, nullptr, 48000.0, 48000.0);
  constexpr size_t kBlocks = 40;
  std::vector<float> sound(4 * kBlocks * kBlock);
  for (size_t k = 0; k < 4 * kBlocks; ++k) {
    expected.render(static_cast<int32_t>(k / kBlocks), sound.data() + k * kBlock, kBlock);
  }
  for (const Case& c : cases) {
    SCOPED_TRACE(c.type);
    VirtualOptions options = FastOptions(kBlocks);
    options.sampleType = c.type;
    options.captureFile = folder.wide("capture.wav");
    VirtualDevice device(options);
    ASSERT_TRUE(device.prepare(nullptr));
    Host host(device);
    host.run();
    ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
    ASSERT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    WavSamples captured;
    ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
    ASSERT_EQ(captured.samples.size(), sound.size());
    for (size_t i = 0; i < sound.size(); ++i) {
      ASSERT_NEAR(captured.samples[i], sound[i], c.tolerance * 1.0001) << i;
    }
  }
}

TEST(SampleConversion, IntegersAreRoundedClampedAndLaidOutAsTheirTypeSays) {
  struct Case {
    int32_t type;
    float value;
    Bytes bytes;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const Case cases[] = {
      {kInt16MSB, 0.5f, {0x40, 0x00}},
      {kInt16LSB, 0.5f, {0x00, 0x40}},
      {kInt16LSB, 1.0f, {0xFF, 0x7F}},
      {kInt16LSB, -1.0f, {0x00, 0x80}},
      {kInt16LSB, 1.6f / 32768, {0x02, 0x00}},
      {kInt16LSB, -1.6f / 32768, {0xFE, 0xFF}},
      {kInt16LSB, 1e30f, {0xFF, 0x7F}},
      {kInt16LSB, nan, {0x00, 0x00}},
      {kInt24MSB, -0.5f, {0xC0, 0x00, 0x00}},
      {kInt24LSB, 3.0f / 8388608, {0x03, 0x00, 0x00}},
      {kInt24LSB, -2.0f, {0x00, 0x00, 0x80}},
      {kInt32LSB, 2.0f, {0xFF, 0xFF, 0xFF, 0x7F}},
      {kInt32LSB, -INFINITY, {0x00, 0x00, 0x00, 0x80}},
      {kInt32LSB, 0.25f, {0x00, 0x00, 0x00, 0x20}},
      {7, 0.25f, {0x00, 0x00, 0x00, 0x20}},
      {kFloat32LSB, 2.0f, {0x00, 0x00, 0x00, 0x40}},
      {kFloat64LSB, 2.0f, {0, 0, 0, 0, 0, 0, 0x00, 0x40}},
  };
  for (const Case& c : cases) {
    Bytes bytes(static_cast<size_t>(BytesPerSample(c.type)));
    EncodeSamples(c.type, &c.value, bytes.data(), 1);
    EXPECT_EQ(bytes, c.bytes) << c.type << ": " << c.value;
  }
}

TEST(VirtualSound, InputsHearTheChannelsOfASourceFileInALoop) {
  TemporaryFolder folder;
  constexpr size_t kFrames = 150;  // no multiple of the block
  {
    WavWriter writer;
    ASSERT_TRUE(writer.open(folder.wide("source.wav"), 3, nullptr) && writer.begin(22050.0, nullptr));
    std::vector<float> samples(3 * kFrames);
    for (size_t i = 0; i < samples.size(); ++i) {
      samples[i] = static_cast<float>(i) / 1024.0f;
    }
    ASSERT_TRUE(writer.write(samples.data(), kFrames, nullptr) && writer.refreshHeader());
  }
  VirtualOptions options = FastOptions(20);
  options.sourceFile = folder.wide("source.wav");
  options.captureFile = folder.wide("capture.wav");
  VirtualDevice device(options);
  ASSERT_TRUE(device.prepare(nullptr));
  EXPECT_EQ(device.sourceRate(), 22050.0);
  Host host(device);
  host.run();
  ASSERT_TRUE(Eventually([&] { return device.limitReached(); }));
  ASSERT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  WavSamples captured;
  ASSERT_TRUE(ReadWav(options.captureFile, captured, nullptr));
  ASSERT_EQ(captured.frames, 20u * kBlock);
  for (int32_t c = 0; c < 4; ++c) {
    for (size_t i = 0; i < captured.frames; ++i) {
      ASSERT_EQ(captured.channel(c)[i], static_cast<float>(i % kFrames * 3 + static_cast<size_t>(c) % 3) / 1024.0f);
    }
  }
}

double levelDb(const float* samples, size_t count) {
  double sum = 0.0;
  for (size_t i = 0; i < count; ++i) {
    sum += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
  }
  return 10.0 * std::log10(sum / static_cast<double>(count) + 1e-30);
}

// How strongly `frequency` is in the sound, against all of it.
double share(const std::vector<float>& sound, double frequency, double rate) {
  double re = 0.0;
  double im = 0.0;
  double power = 0.0;
  for (size_t i = 0; i < sound.size(); ++i) {
    const double angle = 2.0 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
    re += sound[i] * std::cos(angle);
    im += sound[i] * std::sin(angle);
    power += static_cast<double>(sound[i]) * static_cast<double>(sound[i]);
  }
  return 2.0 * (re * re + im * im) / (power * static_cast<double>(sound.size()));
}

TEST(SignalSources, SoundAsTheirNamesSayAtEveryRate) {
  for (const double rate : {32000.0, 48000.0, 96000.0}) {
    SCOPED_TRACE(rate);
    SignalSources sources(4, {}, nullptr, 44100.0, 96000.0);
    sources.setRate(rate);
    const auto seconds = static_cast<size_t>(8.0 * rate);
    const auto render = [&](int32_t input) {
      std::vector<float> sound(seconds);
      for (size_t at = 0; at < sound.size(); at += 160) {
        sources.render(input, sound.data() + at, 160);
      }
      return sound;
    };
    const std::vector<float> tone = render(1);
    EXPECT_NEAR(levelDb(tone.data(), tone.size()), -21.01, 0.05);
    EXPECT_GT(share(tone, 110.0 * std::exp2(1.0 / 12.0), rate), 0.999);

    const std::vector<float> pink = render(2);
    EXPECT_NEAR(levelDb(pink.data(), pink.size()), -21.0, 1.5);
    EXPECT_LT(*std::max_element(pink.begin(), pink.end()), 1.0f);

    const std::vector<float> plucks = render(0);
    const auto window = static_cast<size_t>(0.05 * rate);
    double loudest = -200.0;
    double quietest = 0.0;
    for (size_t at = 0; at + window <= plucks.size(); at += window) {
      loudest = std::max(loudest, levelDb(plucks.data() + at, window));
      quietest = std::min(quietest, levelDb(plucks.data() + at, window));
    }
    EXPECT_GT(loudest, -25.0);
    EXPECT_NEAR(quietest, -72.0 - 4.8, 1.0);  // the hiss: RMS of a uniform distribution

    const std::vector<float> none = render(3);
    EXPECT_TRUE(std::all_of(none.begin(), none.end(), [](float sample) { return sample == 0.0f; }));
  }
}

}  // namespace
}  // namespace tarnwick::platform
