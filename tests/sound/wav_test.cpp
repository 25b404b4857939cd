#include <gtest/gtest.h>

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
class FileBuilder {
 public:
  FileBuilder& tag(const std::string& text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  FileBuilder& word(uint64_t value, uint64_t size) {
    for (uint64_t k = 0; k < size; ++k) {
      bytes_.push_back(k < 8 ? static_cast<uint8_t>(value >> (8 * k)) : uint8_t{0});
    }
    return *this;
  }
  FileBuilder& head(const std::string& riff = "RIFF") { return tag(riff).word(0, 4).tag("WAVE"); }
  FileBuilder& format(uint64_t kind, uint64_t channels, uint64_t bits) {
    return format(kind, channels, bits, 48000, channels * bits / 8);
  }
  FileBuilder& format(uint64_t kind, uint64_t channels, uint64_t bits, uint64_t rate, uint64_t frameBytes,
                      uint64_t size = 16) {
    tag("fmt ").word(size, 4).word(kind, 2).word(channels, 2).word(rate, 4);
    return word(rate * frameBytes, 4).word(frameBytes, 2).word(bits, 2);
  }
  FileBuilder& extensible(uint64_t subFormat, uint64_t channels, uint64_t bits, uint64_t guidEnd = 0x719B3800) {
    format(0xFFFE, channels, bits, 48000, channels * bits / 8, 40).word(22, 2).word(0, 6).word(subFormat, 2);
    return word(0x001000000000, 6).word(0xAA000080, 4).word(guidEnd, 4);
  }
  // Two frames of 16 bits: 0.5 and -0.25.
  FileBuilder& twoFrames(uint64_t statedSize = 4) { return tag("data").word(statedSize, 4).word(0xE0004000, 4); }
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

FileBuilder mono() {
  return FileBuilder().head().format(1, 1, 16);
}

class WavTest : public testing::Test {
 protected:
  bool read(const Bytes& bytes, uint64_t maximumBytes = kMaximumWavBytes) {
    WriteBytes(folder_.name("in.wav"), bytes);
    wav_ = WavSamples();
    error_.clear();
    return ReadWav(folder_.wide("in.wav"), wav_, &error_, maximumBytes);
  }

  TemporaryFolder folder_;
  WavSamples wav_;
  std::wstring error_;
};

TEST_F(WavTest, EverySampleFormatGivesItsValues) {
  const struct {
    uint64_t kind;
    uint64_t bits;
    uint64_t words[4];  // two frames of two channels
    float values[4];
  } cases[] = {
      {1, 8, {0xFF, 0x00, 0x80, 0x40}, {127.0f / 128, -1.0f, 0.0f, -0.5f}},
      {1, 16, {0x7FFF, 0x8000, 0, 0xC000}, {32767.0f / 32768, -1.0f, 0.0f, -0.5f}},
      {1, 24, {0x7FFFFF, 0x800000, 1, 0xC00000}, {8388607.0f / 8388608, -1.0f, 1.0f / 8388608, -0.5f}},
      {1, 32, {0x40000000, 0x80000000, 0, 0xC0000000}, {0.5f, -1.0f, 0.0f, -0.5f}},
      {3, 32, {0x3F000000, 0xC0000000, 0, 0x80000000}, {0.5f, -2.0f, 0.0f, -0.0f}},
      {3, 64, {0x3FE0000000000000, 0xC000000000000000, 0, 0x3FD0000000000000}, {0.5f, -2.0f, 0.0f, 0.25f}},
  };
  for (const auto& c : cases) {
    for (const bool extensible : {false, true}) {
      SCOPED_TRACE(testing::Message() << "format " << c.kind << ", " << c.bits << " bits");
      FileBuilder file;
      file.head();
      extensible ? file.extensible(c.kind, 2, c.bits) : file.format(c.kind, 2, c.bits);
      file.tag("data").word(4 * c.bits / 8, 4);
      for (const uint64_t word : c.words) {
        file.word(word, c.bits / 8);
      }
      ASSERT_TRUE(read(file.bytes()));
      ASSERT_EQ(wav_.channels, 2);
      ASSERT_EQ(wav_.frames, 2u);
      EXPECT_EQ(wav_.sampleRate, 48000u);
      for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(wav_.channel(i % 2)[i / 2], c.values[i]) << i;
      }
    }
  }
}

TEST_F(WavTest, UnusualButReadableFiles) {
  const auto ds64 = [](uint64_t dataSize) {
    FileBuilder file = FileBuilder().head("RF64").tag("ds64").word(28, 4).word(0, 8).word(dataSize, 8).word(2, 12);
    return file.format(1, 1, 16).twoFrames(0xFFFFFFFF).tag("LIST").word(2, 4).tag("ab");
  };
  const struct {
    const char* name;
    FileBuilder file;
    size_t frames;
  } cases[] = {
      {"a chunk of odd length", FileBuilder().head().tag("LIST").word(3, 4).word(0, 4).format(1, 1, 16).twoFrames(), 2},
      {"stream without a size", mono().twoFrames(0xFFFFFFFF), 2},
      {"odd stated size of which the last frame is cut", mono().twoFrames(3), 1},
      {"RF64", ds64(4), 2},
      {"RF64 never finished", ds64(0), 7},  // with what follows
      {"BW64 with a plain size", FileBuilder().head("BW64").format(1, 1, 16).twoFrames(), 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(read(c.file.bytes()));
    ASSERT_EQ(wav_.frames, c.frames);
    EXPECT_EQ(wav_.channel(0)[0], 0.5f);
  }
}

TEST_F(WavTest, FilesThatCannotBePlayedSayWhyAndWhich) {
  const auto with = [](auto... format) {
    return FileBuilder().head().format(static_cast<uint64_t>(format)...).twoFrames().bytes();
  };
  const struct {
    const wchar_t* words;
    Bytes bytes;
  } cases[] = {
      {L"is not a WAV file", FileBuilder().tag("RIFF").word(0, 4).tag("AVI ").format(1, 1, 16).twoFrames().bytes()},
      {L"without a format description", FileBuilder().head().tag("fmt ").word(8, 4).word(0, 8).twoFrames().bytes()},
      {L"has no channels", with(1, 0, 16)},
      {L"has 1025 channels", with(1, 1025, 16)},
      {L"unsupported sample format (format 1, 12 bits", with(1, 1, 12, 48000, 2)},
      {L"(format 1, 64 bits", with(1, 1, 64)},
      {L"(format 3, 16 bits", with(3, 1, 16)},
      {L"unsupported sample format", with(1, 1, 16, 48000, 0)},
      {L"unsupported sample format", with(1, 2, 16, 48000, 2)},
      {L"(format 65534", FileBuilder().head().extensible(1, 1, 16, 0x729B3800).twoFrames().bytes()},
      {L"states no sample rate", with(1, 1, 16, 0, 2)},
      {L"has no audio in it", mono().tag("LIST").word(0xFFFFFFFF, 4).twoFrames().bytes()},
      {L"has no audio in it", with(1, 4, 16)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "expected: " << c.words);
    EXPECT_FALSE(read(c.bytes));
    EXPECT_NE(error_.find(c.words), std::wstring::npos) << error_;
    EXPECT_EQ(error_.find(L"\"" + folder_.wide("in.wav") + L"\" "), 0u) << error_;
  }
  EXPECT_TRUE(read(mono().twoFrames().bytes(), 8)) << "a limit counts the samples as floats";
  EXPECT_FALSE(read(mono().twoFrames().bytes(), 7));
  EXPECT_FALSE(ReadWav(folder_.wide("missing.wav"), wav_, &error_));
  EXPECT_NE(error_.find(L"does not exist"), std::wstring::npos) << error_;
  EXPECT_FALSE(ReadWav(folder_.wide(""), wav_, &error_));
  EXPECT_NE(error_.find(L"is a folder"), std::wstring::npos) << error_;
  EXPECT_FALSE(ReadWav(L"", wav_, nullptr));
}

// A file that is cut anywhere either plays what is left or says why not.
TEST_F(WavTest, AFileCutAnywhereIsHandled) {
  Bytes whole = FileBuilder().head("RF64").tag("ds64").word(28, 4).word(0, 28).extensible(1, 1, 16).twoFrames().bytes();
  size_t played = 0;
  while (!whole.empty()) {
    if (read(whole)) {
      ++played;
      EXPECT_LE(wav_.frames, 2u);
    } else {
      EXPECT_FALSE(error_.empty());
    }
    whole.pop_back();
  }
  EXPECT_EQ(played, 3u);  // whole, and without its last one and two bytes
}

// A ramp that tells every sample of every channel from every other.
std::vector<float> ramp(int32_t channels, size_t frames) {
  std::vector<float> interleaved(static_cast<size_t>(channels) * frames);
  for (size_t i = 0; i < interleaved.size(); ++i) {
    interleaved[i] = static_cast<float>(i) / 65536.0f - 0.5f;
  }
  return interleaved;
}

TEST_F(WavTest, WhatIsWrittenIsReadBackAtEveryStage) {
  for (const uint64_t riffLimit : {kRiffLimit, uint64_t{1000}}) {
    for (const int32_t channels : {1, 2, 3, 127, 1024}) {
      SCOPED_TRACE(channels);
      const std::vector<float> samples = ramp(channels, 300);
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
      ASSERT_TRUE(writer.open(folder_.wide("out.wav"), channels, nullptr));
      ASSERT_TRUE(writer.begin(44100.0, nullptr));
      ASSERT_TRUE(writer.write(at(0), 100, nullptr));
      expectFrames(100);  // as a process that is killed now would leave it
      ASSERT_TRUE(writer.refreshHeader());
      ASSERT_TRUE(writer.write(at(100), 200, nullptr));
      ASSERT_TRUE(writer.sync(&error_)) << error_;
      expectFrames(300);
    }
  }
}

TEST_F(WavTest, AFileBecomesRf64AtTheLimitAndStatesItsSizes) {
  constexpr uint64_t kHeadBytes = 94;  // of a mono file
  const std::vector<float> samples = ramp(1, 10);
  WavWriter writer(kHeadBytes - 8 + 40);
  ASSERT_TRUE(writer.open(folder_.wide("out.wav"), 1, nullptr) && writer.begin(48000.0, nullptr));
  ASSERT_TRUE(writer.write(samples.data(), 10, nullptr) && writer.refreshHeader());
  EXPECT_EQ(ReadBytes(folder_.name("out.wav"))[3], 'F');
  ASSERT_TRUE(writer.write(samples.data(), 1, nullptr) && writer.refreshHeader());
  const Bytes bytes = ReadBytes(folder_.name("out.wav"));
  FileBuilder head;
  head.tag("RF64").word(0xFFFFFFFF, 4).tag("WAVE").tag("ds64").word(28, 4);
  head.word(bytes.size() - 8, 8).word(44, 8).word(11, 12);
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 48), head.bytes());
  EXPECT_EQ(wav::ReadLittleEndian<uint32_t>(&bytes[kHeadBytes - 4]), 0xFFFFFFFFu);
}

// An independent reader and writer of the same format.
TEST_F(WavTest, SoxReadsWhatIsWrittenAndIsRead) {
  // Runs in the folder.
  const auto run = [this](const std::string& command) {
    return std::system(("cd '" + folder_.name("") + "' && " + command + " 2>err.txt").c_str()) == 0;
  };
  if (!run("sox --version >version.txt")) {
    GTEST_SKIP() << "sox is not installed";
  }
  for (const int32_t channels : {2, 9}) {
    SCOPED_TRACE(channels);
    const std::vector<float> expected = ramp(channels, 500);
    {
      WavWriter writer;
      ASSERT_TRUE(writer.open(folder_.wide("out.wav"), channels, nullptr) && writer.begin(96000.0, nullptr));
      ASSERT_TRUE(writer.write(expected.data(), 500, nullptr) && writer.refreshHeader());
    }
    ASSERT_TRUE(run("sox out.wav -t f32 out.raw"));
    const Bytes raw = ReadBytes(folder_.name("out.raw"));
    ASSERT_EQ(raw.size(), expected.size() * sizeof(float));
    EXPECT_EQ(std::memcmp(raw.data(), expected.data(), raw.size()), 0);
    ASSERT_TRUE(run("sox -D out.wav -b 24 back.wav"));
    ASSERT_TRUE(ReadWav(folder_.wide("back.wav"), wav_, &error_)) << error_;
    ASSERT_EQ(wav_.samples.size(), expected.size());
    EXPECT_EQ(wav_.sampleRate, 96000u);
    EXPECT_NEAR(wav_.channel(channels - 1)[499], expected.back(), 1.0 / 8388608);
  }
}

}  // namespace
}  // namespace tarnwick::sound
