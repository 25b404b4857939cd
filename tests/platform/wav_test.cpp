#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "platform/virtual/wav_reader.h"
#include "platform/virtual/wav_writer.h"
#include "temporary_folder.h"

namespace tarnwick::platform {
namespace {

// One WAV file as bytes, built word by word, so that every field can be wrong.
class FileBuilder {
 public:
  FileBuilder& tag(const std::string& text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  FileBuilder& word(uint64_t value, int size) {
    for (int k = 0; k < size; ++k) {
      bytes_.push_back(k < 8 ? static_cast<uint8_t>(value >> (8 * k)) : uint8_t{0});
    }
    return *this;
  }
  FileBuilder& head(const std::string& riff = "RIFF") { return tag(riff).word(0, 4).tag("WAVE"); }
  FileBuilder& format(int tagNumber, int channels, int bits, int rate = 48000, int frameBytes = -1) {
    frameBytes = frameBytes < 0 ? channels * bits / 8 : frameBytes;
    tag("fmt ").word(16, 4);
    return formatBody(tagNumber, channels, bits, rate, frameBytes);
  }
  FileBuilder& extensible(int subFormat, int channels, int bits, uint8_t lastByte = 0x71) {
    tag("fmt ").word(40, 4);
    formatBody(0xFFFE, channels, bits, 48000, channels * bits / 8).word(22, 2).word(0, 2).word(0, 4).word(subFormat, 2);
    for (const int byte : {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B}) {
      word(static_cast<uint64_t>(byte), 1);
    }
    return word(lastByte, 1);
  }
  // Two frames of 16 bits: 0.5 and -0.25.
  FileBuilder& twoFrames(uint64_t statedSize = 4) { return tag("data").word(statedSize, 4).word(0xE0004000, 4); }
  const Bytes& bytes() const { return bytes_; }

 private:
  FileBuilder& formatBody(int tagNumber, int channels, int bits, int rate, int frameBytes) {
    word(static_cast<uint64_t>(tagNumber), 2).word(static_cast<uint64_t>(channels), 2);
    word(static_cast<uint64_t>(rate), 4).word(static_cast<uint64_t>(rate) * static_cast<uint64_t>(frameBytes), 4);
    return word(static_cast<uint64_t>(frameBytes), 2).word(static_cast<uint64_t>(bits), 2);
  }
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
  struct Case {
    const char* name;
    int tag;
    int bits;
    uint64_t words[4];  // two frames of two channels
    float values[4];
  };
  const Case cases[] = {
      {"8 bits", 1, 8, {0xFF, 0x00, 0x80, 0x40}, {127.0f / 128, -1.0f, 0.0f, -0.5f}},
      {"16 bits", 1, 16, {0x7FFF, 0x8000, 0, 0xC000}, {32767.0f / 32768, -1.0f, 0.0f, -0.5f}},
      {"24 bits", 1, 24, {0x7FFFFF, 0x800000, 1, 0xC00000}, {8388607.0f / 8388608, -1.0f, 1.0f / 8388608, -0.5f}},
      {"32 bits", 1, 32, {0x40000000, 0x80000000, 0, 0xC0000000}, {0.5f, -1.0f, 0.0f, -0.5f}},
      {"float", 3, 32, {0x3F000000, 0xC0000000, 0, 0x80000000}, {0.5f, -2.0f, 0.0f, -0.0f}},
      {"double", 3, 64, {0x3FE0000000000000, 0xC000000000000000, 0, 0x3FD0000000000000}, {0.5f, -2.0f, 0.0f, 0.25f}},
  };
  for (const Case& c : cases) {
    for (const bool extensible : {false, true}) {
      SCOPED_TRACE(c.name);
      FileBuilder file;
      file.head();
      extensible ? file.extensible(c.tag, 2, c.bits) : file.format(c.tag, 2, c.bits);
      file.tag("data").word(static_cast<uint64_t>(4 * c.bits / 8), 4);
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
    return FileBuilder().head("RF64").tag("ds64").word(28, 4).word(0, 8).word(dataSize, 8).word(2, 8).word(0, 4);
  };
  struct Case {
    const char* name;
    FileBuilder file;
    size_t frames;
  };
  Case cases[] = {
      {"chunks of odd and even length before and between",
       FileBuilder()
           .head()
           .tag("LIST")
           .word(3, 4)
           .tag("abc")
           .word(0, 1)
           .format(1, 1, 16)
           .tag("junk")
           .word(2, 4)
           .tag("xx")
           .twoFrames(),
       2},
      {"chunks behind the data", mono().twoFrames().tag("LIST").word(4, 4).tag("abcd"), 2},
      {"data shorter than stated", mono().twoFrames(4000), 2},
      {"stream without a size", mono().twoFrames(0xFFFFFFFF), 2},
      {"half a frame at the end", mono().twoFrames(5).word(0, 1), 2},
      {"odd stated size of which the last frame is cut", mono().twoFrames(3), 1},
      {"long format chunk",
       FileBuilder()
           .head()
           .tag("fmt ")
           .word(20, 4)
           .word(1, 2)
           .word(1, 2)
           .word(8000, 4)
           .word(16000, 4)
           .word(2, 2)
           .word(16, 2)
           .word(0, 4)
           .twoFrames(),
       2},
      {"RF64", ds64(4).format(1, 1, 16).twoFrames(0xFFFFFFFF).tag("LIST").word(2, 4).tag("ab"), 2},
      {"RF64 that states more than there is", ds64(uint64_t{1} << 62).format(1, 1, 16).twoFrames(0xFFFFFFFF), 2},
      {"RF64 never finished", ds64(0).format(1, 1, 16).twoFrames(0xFFFFFFFF), 2},
      {"BW64 with a plain size", FileBuilder().head("BW64").format(1, 1, 16).twoFrames(), 2},
  };
  for (Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_TRUE(read(c.file.bytes()));
    ASSERT_EQ(wav_.frames, c.frames);
    EXPECT_EQ(wav_.channel(0)[0], 0.5f);
  }
}

TEST_F(WavTest, FilesThatCannotBePlayedSayWhyAndWhich) {
  const auto body = [](FileBuilder file) { return file.twoFrames().bytes(); };
  struct Case {
    const wchar_t* words;
    Bytes bytes;
  };
  const Case cases[] = {
      {L"is not a WAV file", {}},
      {L"is not a WAV file", {'R', 'I', 'F', 'F'}},
      {L"is not a WAV file", body(FileBuilder().tag("RIFX").word(0, 4).tag("WAVE").format(1, 1, 16))},
      {L"is not a WAV file", body(FileBuilder().tag("RIFF").word(0, 4).tag("AVI ").format(1, 1, 16))},
      {L"without a format description", FileBuilder().head().bytes()},
      {L"without a format description", body(FileBuilder().head())},
      {L"without a format description", body(FileBuilder().head().tag("fmt ").word(8, 4).word(0, 8))},
      {L"has no channels", body(FileBuilder().head().format(1, 0, 16))},
      {L"has 1025 channels", body(FileBuilder().head().format(1, 1025, 16))},
      {L"unsupported sample format (format 85", body(FileBuilder().head().format(85, 1, 16))},
      {L"unsupported sample format (format 1, 12 bits", body(FileBuilder().head().format(1, 1, 12, 48000, 2))},
      {L"unsupported sample format (format 1, 64 bits", body(FileBuilder().head().format(1, 1, 64))},
      {L"unsupported sample format (format 3, 16 bits", body(FileBuilder().head().format(3, 1, 16))},
      {L"unsupported sample format", body(FileBuilder().head().format(1, 2, 16, 48000, 2))},
      {L"unsupported sample format", body(FileBuilder().head().format(1, 1, 16, 48000, 0))},
      {L"unsupported sample format (format 65534", body(FileBuilder().head().extensible(1, 1, 16, 0x72))},
      {L"states no sample rate", body(FileBuilder().head().format(1, 1, 16, 0))},
      {L"has no audio in it", mono().bytes()},
      {L"has no audio in it", mono().twoFrames(0).bytes()},
      {L"has no audio in it", mono().tag("LIST").word(0xFFFFFFFF, 4).twoFrames().bytes()},
      {L"has no audio in it", FileBuilder().head().format(1, 4, 16).twoFrames().bytes()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "expected: " << c.words);
    EXPECT_FALSE(read(c.bytes));
    EXPECT_NE(error_.find(c.words), std::wstring::npos) << error_;
    EXPECT_EQ(error_.find(L"\"" + folder_.wide("in.wav") + L"\" "), 0u) << error_;
  }
  EXPECT_FALSE(ReadWav(folder_.wide("missing.wav"), wav_, &error_));
  EXPECT_NE(error_.find(L"does not exist"), std::wstring::npos);
  EXPECT_FALSE(ReadWav(folder_.wide(""), wav_, &error_));
  EXPECT_NE(error_.find(L"is a folder"), std::wstring::npos);
  EXPECT_FALSE(ReadWav(L"", wav_, nullptr));
}

TEST_F(WavTest, ALoadLimitCountsTheSamplesAsFloats) {
  const Bytes twoFrames = mono().twoFrames().bytes();
  EXPECT_TRUE(read(twoFrames, 8));
  EXPECT_FALSE(read(twoFrames, 7));
  EXPECT_NE(error_.find(L"is too large"), std::wstring::npos);
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

void expectRamp(const WavSamples& wav, int32_t channels, size_t frames) {
  ASSERT_EQ(wav.channels, channels);
  ASSERT_EQ(wav.frames, frames);
  const std::vector<float> expected = ramp(channels, frames);
  for (size_t i = 0; i < expected.size(); ++i) {
    const auto channel = static_cast<int32_t>(i % static_cast<size_t>(channels));
    ASSERT_EQ(wav.channel(channel)[i / static_cast<size_t>(channels)], expected[i]) << i;
  }
}

TEST_F(WavTest, WhatIsWrittenIsReadBackAtEveryStage) {
  for (const uint64_t riffLimit : {kRiffLimit, uint64_t{1000}}) {
    for (const int32_t channels : {1, 2, 3, 127, 1024}) {
      SCOPED_TRACE(channels);
      WavWriter writer(riffLimit);
      ASSERT_TRUE(writer.open(folder_.wide("out.wav"), channels, nullptr));
      ASSERT_TRUE(writer.begin(44100.0, nullptr));
      const std::vector<float> samples = ramp(channels, 300);
      const auto at = [&](size_t frame) { return samples.data() + frame * static_cast<size_t>(channels); };
      ASSERT_TRUE(writer.write(at(0), 100, nullptr));
      // As a process that is killed now would leave it.
      ASSERT_TRUE(ReadWav(folder_.wide("out.wav"), wav_, &error_)) << error_;
      expectRamp(wav_, channels, 100);
      ASSERT_TRUE(writer.refreshHeader());
      ASSERT_TRUE(writer.write(at(100), 200, nullptr));
      ASSERT_TRUE(writer.refreshHeader());
      ASSERT_TRUE(ReadWav(folder_.wide("out.wav"), wav_, &error_)) << error_;
      expectRamp(wav_, channels, 300);
      EXPECT_EQ(wav_.sampleRate, 44100u);
    }
  }
}

TEST_F(WavTest, AFileBecomesRf64AtTheLimitAndStatesItsSizes) {
  constexpr uint64_t kHeadBytes = 94;  // of a mono file
  const auto word = [](const Bytes& bytes, size_t at, size_t size) {
    uint64_t value = 0;
    for (size_t k = 0; k < size; ++k) {
      value |= uint64_t{bytes[at + k]} << (8 * k);
    }
    return value;
  };
  WavWriter writer(kHeadBytes - 8 + 40);
  ASSERT_TRUE(writer.open(folder_.wide("out.wav"), 1, nullptr));
  ASSERT_TRUE(writer.begin(48000.0, nullptr));
  const std::vector<float> samples = ramp(1, 10);
  ASSERT_TRUE(writer.write(samples.data(), 10, nullptr) && writer.refreshHeader());
  Bytes bytes = ReadBytes(folder_.name("out.wav"));
  ASSERT_EQ(bytes.size(), kHeadBytes + 40);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RIFF");
  EXPECT_EQ(word(bytes, 4, 4), bytes.size() - 8);
  EXPECT_EQ(word(bytes, kHeadBytes - 4, 4), 40u);

  ASSERT_TRUE(writer.write(samples.data(), 1, nullptr) && writer.refreshHeader());
  bytes = ReadBytes(folder_.name("out.wav"));
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RF64");
  EXPECT_EQ(word(bytes, 4, 4), 0xFFFFFFFFu);
  EXPECT_EQ(std::string(bytes.begin() + 12, bytes.begin() + 16), "ds64");
  EXPECT_EQ(word(bytes, 20, 8), bytes.size() - 8);
  EXPECT_EQ(word(bytes, 28, 8), 44u);
  EXPECT_EQ(word(bytes, 36, 8), 11u);
  EXPECT_EQ(word(bytes, kHeadBytes - 4, 4), 0xFFFFFFFFu);
}

TEST_F(WavTest, AWriterKeepsToTheRateThatItBeganWith) {
  WavWriter writer;
  ASSERT_TRUE(writer.open(folder_.wide("out.wav"), 1, nullptr));
  EXPECT_TRUE(writer.begin(48000.0, nullptr));
  EXPECT_TRUE(writer.begin(48000.0, nullptr));
  EXPECT_FALSE(writer.begin(44100.0, &error_));
  EXPECT_NE(error_.find(L"48000 Hz"), std::wstring::npos) << error_;
}

TEST_F(WavTest, AFileThatCannotBeCreatedIsNamed) {
  for (const char* name : {"", "no-such-folder/out.wav"}) {
    WavWriter writer;
    EXPECT_FALSE(writer.open(folder_.wide(name), 1, &error_));
    EXPECT_EQ(error_.find(L"\"" + folder_.wide(name) + L"\" cannot be created: "), 0u) << error_;
  }
}

// sox is an independent reader and writer of the same format.
class SoxTest : public WavTest {
 protected:
  void SetUp() override {
    if (std::system("sox --version >/dev/null 2>&1") != 0) {
      GTEST_SKIP() << "sox is not installed";
    }
  }
  // Runs in the folder.
  bool run(const std::string& command) {
    return std::system(("cd '" + folder_.name("") + "' && " + command + " 2>err.txt").c_str()) == 0;
  }
};

TEST_F(SoxTest, ItsFilesAreRead) {
  struct Case {
    const char* format;
    double step;  // of its quantisation
  };
  const Case cases[] = {{"-b 8", 1.0 / 128},
                        {"-b 16", 1.0 / 32768},
                        {"-b 24", 1.0 / 8388608},
                        {"-b 32", 1.0 / 8388608},
                        {"-e float -b 32", 1.0 / 8388608},
                        {"-e float -b 64", 1.0 / 8388608}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.format);
    // 1 kHz at -6 dB, and silence.
    ASSERT_TRUE(run("sox -r 48000 -n -b 32 -c 1 tone.wav synth 0.1 sine 1000 gain -6"));
    ASSERT_TRUE(run("sox -r 48000 -n -b 32 -c 1 none.wav trim 0 0.1"));
    ASSERT_TRUE(run("sox -D -M tone.wav none.wav " + std::string(c.format) + " both.wav"));
    ASSERT_TRUE(ReadWav(folder_.wide("both.wav"), wav_, &error_)) << error_;
    ASSERT_EQ(wav_.channels, 2);
    ASSERT_EQ(wav_.frames, 4800u);
    const double level = std::pow(10.0, -6.0 / 20.0);
    for (size_t i = 0; i < wav_.frames; ++i) {
      const double expected = level * std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / 48.0);
      ASSERT_NEAR(wav_.channel(0)[i], expected, c.step) << i;
      ASSERT_EQ(wav_.channel(1)[i], 0.0f) << i;
    }
  }
}

TEST_F(SoxTest, ItReadsWhatIsWritten) {
  for (const int32_t channels : {1, 2, 9}) {
    SCOPED_TRACE(channels);
    {
      WavWriter writer;
      ASSERT_TRUE(writer.open(folder_.wide("out.wav"), channels, nullptr));
      ASSERT_TRUE(writer.begin(96000.0, nullptr));
      ASSERT_TRUE(writer.write(ramp(channels, 500).data(), 500, nullptr) && writer.refreshHeader());
    }
    ASSERT_TRUE(run("sox out.wav -t f32 out.raw"));
    const Bytes raw = ReadBytes(folder_.name("out.raw"));
    const std::vector<float> expected = ramp(channels, 500);
    ASSERT_EQ(raw.size(), expected.size() * sizeof(float));
    EXPECT_EQ(std::memcmp(raw.data(), expected.data(), raw.size()), 0);
    // It misses a second extension length in every WAVE_FORMAT_EXTENSIBLE file of floats, which has only one.
    EXPECT_TRUE(channels > 2 || ReadBytes(folder_.name("err.txt")).empty()) << "sox warned";
    ASSERT_TRUE(run("soxi -r out.wav > rate.txt"));
    EXPECT_EQ(ReadBytes(folder_.name("rate.txt")), (Bytes{'9', '6', '0', '0', '0', '\n'}));
  }
}

}  // namespace
}  // namespace tarnwick::platform
