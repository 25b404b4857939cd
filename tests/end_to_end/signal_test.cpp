// The program on its real clock: the course of a run, and ends from outside.
#include <gmock/gmock.h>

#include <csignal>
#include <thread>

#include "program.h"
#include "sound/wav_format.h"
#include "sounds.h"

namespace tarnwick::tests {
namespace {

using platform::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The log lines without their stamps; a line without one fails the test.
std::vector<std::string> logLines(const std::vector<std::string>& lines) {
  const char* stamp = "([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]\\.[0-9]{3} .*";
  std::vector<std::string> all;
  for (const std::string& line : lines) {
    EXPECT_THAT(line, ::testing::MatchesRegex(stamp));
    if (line.find(" scheduling granted: ") == std::string::npos) {  // these come when a timer finds them
      all.push_back(line.substr(std::min<size_t>(line.size(), 13)));
    }
  }
  return all;
}

TEST(RealTimeRun, TellsItsCourseInOrder) {
  const auto begun = std::chrono::steady_clock::now();
  const ProgramResult result = RunTarnwick({"--instances", "2", "--start", "--seconds", "0.4", "--buffer-size", "480"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(390)) << "0.4 s of sound";
  const rapidjson::Document summary = result.summary();
  ASSERT_TRUE(summary.IsObject()) << result.out;
  EXPECT_GE(summary["blocks"].GetInt64(), 40);
  std::vector<std::string> lines = result.lines();
  lines.pop_back();
  // Machines without a device of their own are told so.
  std::erase_if(lines, [](const std::string& line) { return line.find(" No ASIO d") != std::string::npos; });
  EXPECT_THAT(logLines(lines),
              ElementsAre(StartsWith("Tarnwick "), "Device list refreshed.",
                          "ASIO started: Tarnwick Virtual Audio (buffer=480)",
                          "Input Latency : 480 samples (10.00 ms), Output Latency : 480 samples (10.00 ms)",
                          "Host running.", "Stopping host asynchronously...", "Host stopped."));
}

TEST(EndSignal, EndsARunCleanly) {
  const TemporaryFolder folder;
  RunningProgram program({"--instances", "8", "--start", "--virtual-capture", folder.name("out.wav")});
  ASSERT_TRUE(program.awaitOutput("Host running."));
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const auto asked = std::chrono::steady_clock::now();
  program.signal(SIGINT);
  const ProgramResult result = program.finish();
  // A tenth of a second, unless something else holds the processors.
  EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(10));
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_FALSE(result.leftProcesses);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.lines().back(), HasSubstr("Host stopped.")) << "a run without an end has no summary";

  const platform::Bytes bytes = platform::ReadBytes(folder.name("out.wav"));
  ASSERT_GT(bytes.size(), 100u);
  EXPECT_EQ(sound::wav::ReadLittleEndian<uint32_t>(&bytes[4]) + 8u, bytes.size()) << "the header's size";
  const sound::WavSamples heard = ReadSound(folder.name("out.wav"));
  EXPECT_EQ(heard.channels, 8);
  EXPECT_EQ(heard.frames % 256, 0u);
  EXPECT_GT(LevelDb(heard.channel(1), 0, heard.frames), -60.0) << "the tone on input 2";
}

TEST(EndSignal, EndsATimedRunWithItsSummaryAndAProgramThatDoesNothing) {
  for (const bool runs : {true, false}) {
    RunningProgram program(runs ? Arguments{"--instances", "8", "--start", "--seconds", "1000"} : Arguments{});
    ASSERT_TRUE(program.awaitOutput(runs ? "Host running." : "Device list refreshed."));
    program.signal(SIGTERM);
    const ProgramResult result = program.finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_FALSE(result.leftProcesses);
    EXPECT_EQ(result.summary().IsObject(), runs) << result.out;
  }
}

}  // namespace
}  // namespace tarnwick::tests
