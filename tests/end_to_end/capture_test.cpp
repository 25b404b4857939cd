// Whole runs of the program on its fast clock, with the bundled effect: what reaches the capture, and the summary.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cmath>
#include <future>

#include "program.h"
#include "sounds.h"

namespace tarnwick::tests {
namespace {

using platform::TemporaryFolder;
using ::testing::HasSubstr;

// Eight instances of the bundled effect on the fast clock.
Arguments fastRun(const std::string& seconds, const Arguments& more) {
  Arguments all = {"--instances", "8", "--start", "--virtual-clock", "fast", "--seconds", seconds};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

// The end of a good run.
void expectGoodRun(const ProgramResult& result, int64_t blocks) {
  ASSERT_EQ(result.exitCode, 0) << result.out << result.err;
  EXPECT_FALSE(result.tookTooLong || result.leftProcesses);
  const rapidjson::Document summary = result.summary();
  ASSERT_TRUE(summary.IsObject()) << result.out;
  EXPECT_EQ(summary["blocks"].GetInt64(), blocks);
  EXPECT_EQ(summary["skippedBlocks"].GetInt64(), 0);
}

TEST(Ombrel, TurnsTheGapsDownAndLeavesTheSoundAlone) {
  const Channel source = Bursts(4, 0.4f);  // -12 dBFS or so
  const TemporaryFolder folder;
  WriteSound(folder.name("bursts.wav"), source);
  expectGoodRun(RunTarnwick(fastRun(
                    "2", {"--virtual-source", folder.name("bursts.wav"), "--virtual-capture", folder.name("out.wav")})),
                375);
  const sound::WavSamples heard = ReadSound(folder.name("out.wav"));
  ASSERT_EQ(heard.channels, 8);
  ASSERT_EQ(heard.frames, source.size());
  for (int32_t c = 0; c < heard.channels; ++c) {
    for (size_t part = 0; part < 4; ++part) {
      const size_t from = part * kPart + kPart / 2;  // once it has made up its mind
      const double change =
          LevelDb(heard.channel(c), from, kPart / 2 - 1000) - LevelDb(source.data(), from, kPart / 2 - 1000);
      if (part % 2 == 0) {
        EXPECT_NEAR(change, 0.0, 1.0) << "burst " << part << " of output " << c;
      } else {
        EXPECT_LT(change, -6.0) << "gap " << part << " of output " << c;
      }
    }
  }
}

TEST(FastRun, RepeatsBitForBitAlsoIntoAFifo) {
  const TemporaryFolder folder;
  expectGoodRun(RunTarnwick(fastRun("1", {"--virtual-capture", folder.name("file.wav")})), 188);
  ASSERT_EQ(mkfifo(folder.name("fifo").c_str(), 0600), 0);
  auto run = std::async(std::launch::async, [&folder] {
    return RunTarnwick(fastRun("1", {"--virtual-capture", folder.name("fifo")}));
  });
  const ProgramResult reader = RunningProgram({folder.name("fifo")}, "cat").finish();
  expectGoodRun(run.get(), 188);
  platform::WriteBytes(folder.name("piped.wav"), {reader.out.begin(), reader.out.end()});
  const sound::WavSamples heard = ReadSound(folder.name("file.wav"));
  EXPECT_EQ(heard.frames, 188u * 256u);
  EXPECT_TRUE(ReadSound(folder.name("piped.wav")).samples == heard.samples);
}

TEST(FastRun, MakesAsManyBlocksAsTheSecondsNeed) {
  const struct {
    const char* rate;
    const char* bufferSize;
    const char* seconds;
    int64_t blocks;
    size_t blockLength;
  } cases[] = {{"44100", "100", "1", 441, 100}, {"48000", "7", "0.01", 30, 16}, {"8000", "65536", "1.5", 2, 8192}};
  const TemporaryFolder folder;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.rate) + "/" + c.bufferSize + ", " + c.seconds + " s");
    const ProgramResult result = RunTarnwick(fastRun(c.seconds, {"--sample-rate", c.rate, "--buffer-size", c.bufferSize,
                                                                 "--virtual-capture", folder.name("out.wav")}));
    expectGoodRun(result, c.blocks);
    EXPECT_THAT(result.out, HasSubstr("(buffer=" + std::to_string(c.blockLength) + ")"));
    const sound::WavSamples heard = ReadSound(folder.name("out.wav"));
    EXPECT_EQ(heard.frames, static_cast<size_t>(c.blocks) * c.blockLength);
    EXPECT_EQ(std::to_string(heard.sampleRate), c.rate);
  }
}

TEST(FastRun, TellsTheLevelsThatTheCaptureHolds) {
  const TemporaryFolder folder;
  const ProgramResult result = RunTarnwick(
      fastRun("2", {"--virtual-inputs", "3", "--virtual-outputs", "5", "--virtual-capture", folder.name("out.wav")}));
  expectGoodRun(result, 375);
  EXPECT_THAT(result.out, HasSubstr("5 instances wired to channels that the device, with 3 inputs and 5 outputs"));
  const sound::WavSamples heard = ReadSound(folder.name("out.wav"));
  const rapidjson::Document summary = result.summary();
  ASSERT_EQ(heard.channels, 5);
  ASSERT_EQ(summary["outputs"].Size(), 5u);
  ASSERT_EQ(summary["glitches"].Size(), 8u);
  for (int32_t c = 0; c < 5; ++c) {
    float peak = 0.0f;
    for (size_t k = 0; k < heard.frames; ++k) {
      peak = std::max(peak, std::abs(heard.channel(c)[k]));
    }
    const rapidjson::Value& output = summary["outputs"][static_cast<rapidjson::SizeType>(c)];
    EXPECT_NEAR(output["rmsDb"].GetDouble(), LevelDb(heard.channel(c), 0, heard.frames), 0.02) << c;
    EXPECT_NEAR(output["peakDb"].GetDouble(), std::max(-180.0, 20.0 * std::log10(peak + 1e-12)), 0.02) << c;
    EXPECT_EQ(peak > 0.0f, c < 3) << c << ": inputs 4 and 5 are not there";
  }
}

TEST(Capture, ThatCannotBeWrittenIsToldAndTheSoundGoesOn) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.name("fifo").c_str(), 0600), 0);
  for (const std::string& name : {std::string("/dev/full"), folder.name("fifo")}) {
    auto run = std::async(std::launch::async, [&name] {
      return RunTarnwick(fastRun("1", {"--virtual-capture", name}));
    });
    if (name != "/dev/full") {
      RunningProgram({"-c", "1000", name}, "head").finish();  // a reader that goes away
    }
    const ProgramResult result = run.get();
    expectGoodRun(result, 188);
    EXPECT_THAT(result.out, HasSubstr("The capture file is missing audio: \"" + name + "\" cannot be written: "));
  }
}

// The summary waits for the block under way: here it is the only one, and a long one.
TEST(FastRun, CountsItsLastBlock) {
  for (const char* clock : {"fast", "real"}) {
    const ProgramResult result = RunTarnwick(
        {"--instances", "8", "--start", "--virtual-clock", clock, "--seconds", "0.17", "--buffer-size", "8192"});
    expectGoodRun(result, 1);
    const rapidjson::Document summary = result.summary();
    EXPECT_GT(summary["averageMs"].GetDouble(), 0.0) << clock;
    EXPECT_GT(summary["outputs"][1]["peakDb"].GetDouble(), -30.0) << clock;
  }
}

}  // namespace
}  // namespace tarnwick::tests
