#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/temporary_folder.h"
#include "sound/wav_format.h"
#include "sound/wav_reader.h"
#include "sound/wav_writer.h"

namespace tarnwick::sound {
namespace {

using namespace platform;

// One WAV file as bytes, built word by word, so that every field can be wrong.
Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes tag(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

Bytes word(uint64_t value, uint64_t size) {
  Bytes bytes;
  for (uint64_t k = 0; k < size; ++k) {
    bytes.push_back(k < 8 ? static_cast<uint8_t>(value >> (8 * k)) : uint8_t{0});
  }
  return bytes;
}

Bytes head(const std::string& riff = "RIFF") {
  return tag(riff) + word(0, 4) + tag("WAVE");
}

Bytes formatOf(uint64_t kind, uint64_t channels, uint64_t bits, uint64_t rate, uint64_t frameBytes,
               uint64_t size = 16) {
  return tag("fmt ") + word(size, 4) + word(kind, 2) + word(channels, 2) + word(rate, 4) + word(rate * frameBytes, 4) +
         word(frameBytes, 2) + word(bits, 2);
}

Bytes format(uint64_t kind, uint64_t channels, uint64_t bits) {
  return formatOf(kind, channels, bits, 48000, channels * bits / 8);
}

Bytes extensible(uint64_t subFormat, uint64_t channels, uint64_t bits, uint64_t guidEnd = 0x719B3800) {
  return formatOf(0xFFFE, channels, bits, 48000, channels * bits / 8, 40) + word(22, 2) + word(0, 6) +
         word(subFormat, 2) + word(0x001000000000, 6) + word(0xAA000080, 4) + word(guidEnd, 4);
}

Bytes data(std::initializer_list<uint64_t> samples, uint64_t bits) {
  Bytes bytes = tag("data") + word(samples.size() * bits / 8, 4);
  for (const uint64_t sample : samples) {
    bytes = bytes + word(sample, bits / 8);
  }
  return bytes;
}

// Of 16 bits: 0.5 and -0.25.
Bytes twoFrames(uint64_t statedSize = 4) {
  return tag("data") + word(statedSize, 4) + word(0xE0004000, 4);
}

const Bytes kMono = head() + format(1, 1, 16);

class WavTest : public testing::Test {
 protected:
  bool read(const Bytes& bytes, uint64_t maximumBytes = kMaximumWavBytes) {
    WriteBytes(folder_.name("in.wav"), bytes);
    return ReadWav(folder_.wide("in.wav"), wav_, &error_, maximumBytes);
  }

  TemporaryFolder folder_;
  WavSamples wav_;
  std::wstring error_;
};

TEST_F(WavTest, FilesThatCanBePlayedAndFilesThatCannot) {
  const auto ds64 = [](uint64_t dataSize) {
    return head("RF64") + tag("ds64") + word(28, 4) + word(0, 8) + word(dataSize, 8) + word(2, 12) + format(1, 1, 16) +
           twoFrames(0xFFFFFFFF) + tag("LIST") + word(2, 4) + tag("ab");
  };
  const std::vector<float> two = {0.5f, -0.25f};
  const struct {
    Bytes bytes;
    std::vector<float> samples;  // channel after channel
    const wchar_t* words;        // why not
  } cases[] = {
      {head() + format(1, 2, 8) + data({0xFF, 0x00, 0x80, 0x40}, 8), {127.0f / 128, 0, -1, -0.5f}, L"8 bits"},
      {head() + format(1, 2, 16) + data({0x7FFF, 0x8000, 0, 1}, 16), {32767.0f / 32768, 0, -1, 1.0f / 32768}, L"16"},
      {head() + extensible(1, 2, 24) + data({0x7FFFFF, 0x800000, 1, 0xC00000}, 24),
       {8388607.0f / 8388608, 1.0f / 8388608, -1, -0.5f},
       L"24"},
      {head() + format(1, 2, 32) + data({0x40000000, 0x80000000, 0, 0xC0000000}, 32), {0.5f, 0, -1, -0.5f}, L"32"},
      {head() + extensible(3, 2, 32) + data({0x3F000000, 0xC0000000, 0, 0x3E800000}, 32),
       {0.5f, 0, -2, 0.25f},
       L"float"},
      {head() + format(3, 1, 64) + data({0x3FE0000000000000, 0xBFD0000000000000}, 64), two, L"double"},
      {head() + tag("LIST") + word(3, 4) + word(0, 4) + format(1, 1, 16) + twoFrames(), two, L"a chunk of odd length"},
      {kMono + twoFrames(0xFFFFFFFF), two, L"a stream without a size"},
      {kMono + twoFrames(3), {0.5f}, L"an odd size, of which the last frame is cut"},
      {ds64(4), two, L"RF64"},
      {ds64(0),
       {0.5f, -0.25f, 0x494C / 32768.0f, 0x5453 / 32768.0f, 2 / 32768.0f, 0, 0x6261 / 32768.0f},
       L"RF64 never finished, with what follows"},
      {head("BW64") + format(1, 1, 16) + twoFrames(), two, L"BW64 with a plain size"},
      {tag("RIFF") + word(0, 4) + tag("AVI ") + format(1, 1, 16) + twoFrames(), {}, L"is not a WAV file"},
      {head() + tag("fmt ") + word(8, 4) + word(0, 8) + twoFrames(), {}, L"without a format description"},
      {head() + format(1, 0, 16) + twoFrames(), {}, L"has no channels"},
      {head() + format(1, 1025, 16) + twoFrames(), {}, L"has 1025 channels"},
      {head() + formatOf(1, 1, 12, 48000, 2) + twoFrames(), {}, L"unsupported sample format (format 1, 12 bits"},
      {head() + format(1, 1, 64) + twoFrames(), {}, L"(format 1, 64 bits"},
      {head() + format(3, 1, 16) + twoFrames(), {}, L"(format 3, 16 bits"},
      {head() + formatOf(1, 1, 16, 48000, 0) + twoFrames(), {}, L"unsupported sample format"},
      {head() + formatOf(1, 2, 16, 48000, 2) + twoFrames(), {}, L"unsupported sample format"},
      {head() + extensible(1, 1, 16, 0x729B3800) + twoFrames(), {}, L"(format 65534"},
      {head() + formatOf(1, 1, 16, 0, 2) + twoFrames(), {}, L"states no sample rate"},
      {kMono + tag("LIST") + word(0xFFFFFFFF, 4) + twoFrames(), {}, L"has no audio in it"},
      {head() + format(1, 4, 16) + twoFrames(), {}, L"has no audio in it"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.words << ": " << error_);
    ASSERT_EQ(read(c.bytes), !c.samples.empty());
    if (!c.samples.empty()) {
      EXPECT_EQ(wav_.samples, c.samples);
      EXPECT_EQ(wav_.frames, c.samples.size() / static_cast<size_t>(wav_.channels));
      EXPECT_EQ(wav_.sampleRate, 48000u);
    } else {
      EXPECT_EQ(error_.find(L"\"" + folder_.wide("in.wav") + L"\" "), 0u) << error_;
      EXPECT_NE(error_.find(c.words), std::wstring::npos) << error_;
    }
  }
  EXPECT_TRUE(read(kMono + twoFrames(), 8)) << "a limit counts the samples as floats";
  EXPECT_FALSE(read(kMono + twoFrames(), 7));
  for (const auto& [name, words] : {std::pair("missing.wav", L"does not exist"), {"", L"is a folder"}}) {
    EXPECT_FALSE(ReadWav(folder_.wide(name), wav_, &error_));
    EXPECT_NE(error_.find(words), std::wstring::npos) << error_;
  }
  // A file that is cut anywhere either plays what is left or says why not.
  Bytes whole = head("RF64") + tag("ds64") + word(28, 4) + word(0, 28) + extensible(1, 1, 16) + twoFrames();
  for (size_t played = 0; !whole.empty() || played != 3; whole.pop_back()) {  // also without its last one and two bytes
    ASSERT_FALSE(whole.empty()) << played;
    played += read(whole) ? 1 : 0;
  }
}

TEST_F(WavTest, WhatIsWrittenIsReadBackAtEveryStage) {
  const std::string inFolder = "cd '" + folder_.name("") + "' && ";
  const bool sox = std::system((inFolder + "sox --version >version.txt 2>err.txt").c_str()) == 0;
  constexpr uint64_t kMonoBytes = 86 + 300 * sizeof(float);  // behind the first two words
  for (const uint64_t riffLimit : {kRiffLimit, kMonoBytes, kMonoBytes - 1}) {
    for (const int32_t channels : {1, 2, 3, 127, 1024}) {
      SCOPED_TRACE(channels);
      std::vector<float> samples(300 * static_cast<size_t>(channels));  // each another
      std::generate(samples.begin(), samples.end(), [next = -0.5f]() mutable { return next += 0x1p-16f; });
      const auto at = [&](size_t frame) { return samples.data() + frame * static_cast<size_t>(channels); };
      const auto expectFrames = [&](size_t frames) {
        ASSERT_TRUE(ReadWav(folder_.wide("out.wav"), wav_, &error_)) << error_;
        ASSERT_EQ(wav_.channels, channels);
        ASSERT_EQ(wav_.frames, frames);
        EXPECT_EQ(wav_.sampleRate, 44100u);
        for (size_t i = 0; i < frames; ++i) {
          for (int32_t c = 0; c < channels; ++c) {
            ASSERT_EQ(wav_.channel(c)[i], at(i)[c]) << i;
          }
        }
      };
      WavWriter writer(riffLimit);
      ASSERT_TRUE(writer.open(folder_.wide("out.wav"), channels, nullptr) && writer.begin(44100.0, nullptr));
      ASSERT_TRUE(writer.write(at(0), 100, nullptr));
      expectFrames(100);  // as a process that is killed now would leave it
      ASSERT_TRUE(writer.refreshHeader() && writer.write(at(100), 200, nullptr));
      ASSERT_TRUE(writer.sync(&error_)) << error_;
      expectFrames(300);
      const Bytes bytes = ReadBytes(folder_.name("out.wav"));
      if (channels == 1) {
        const Bytes rf64 = tag("RF64") + word(0xFFFFFFFF, 4) + tag("WAVE") + tag("ds64") + word(28, 4) +
                           word(kMonoBytes, 8) + word(300 * sizeof(float), 8) + word(300, 12);
        EXPECT_EQ(std::equal(rf64.begin(), rf64.end(), bytes.begin()), riffLimit < kMonoBytes);
        EXPECT_EQ(wav::ReadLittleEndian<uint32_t>(&bytes[90]) == 0xFFFFFFFF, riffLimit < kMonoBytes);
      }
      // An independent reader of the same format, which knows no RF64.
      if (riffLimit == kRiffLimit && sox && channels <= 3) {
        ASSERT_EQ(std::system((inFolder + "sox out.wav -t f32 out.raw").c_str()), 0);
        const Bytes raw = ReadBytes(folder_.name("out.raw"));
        ASSERT_EQ(raw.size(), samples.size() * sizeof(float));
        EXPECT_EQ(std::memcmp(raw.data(), samples.data(), raw.size()), 0);
      }
    }
  }
}

}  // namespace
}  // namespace tarnwick::sound
