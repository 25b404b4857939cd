#include "app/options.h"

#include <gmock/gmock.h>

namespace tarnwick::app {
namespace {

using Arguments = std::vector<std::string>;
using ::testing::HasSubstr;

TEST(Options, SayWhatTheProgramIsToDo) {
  std::string text;
  int exitCode = -1;
  const auto plain = ParseOptions({}, text, exitCode);
  ASSERT_TRUE(plain);
  EXPECT_FALSE(plain->device || plain->bufferSize || plain->sampleRate);
  EXPECT_EQ(plain->remotePort, 20831);
  EXPECT_EQ(plain->instances, 0);
  EXPECT_EQ(plain->virtualDevice.inputs, 8);
  EXPECT_EQ(plain->virtualDevice.outputs, 8);
  EXPECT_EQ(plain->virtualDevice.clock, platform::VirtualClock::real);
  EXPECT_FALSE(plain->start || plain->listDevices || plain->version);

  const auto full = ParseOptions({"--device",
                                  "K\xc3\xbc"
                                  "che 1",
                                  "--sample-rate",
                                  "44100",
                                  "--buffer-size",
                                  "0",
                                  "--plugin=a b.vst3",
                                  "--instances",
                                  "127",
                                  "--start",
                                  "--seconds",
                                  "0.25",
                                  "--state-dir",
                                  "/",
                                  "--settings",
                                  "s.txt",
                                  "--virtual-inputs",
                                  "1024",
                                  "--virtual-outputs",
                                  "1",
                                  "--virtual-source",
                                  "in.wav",
                                  "--virtual-capture",
                                  "out.wav",
                                  "--virtual-clock",
                                  "fast"},
                                 text, exitCode);
  ASSERT_TRUE(full) << text;
  EXPECT_EQ(full->device, L"K\u00fcche 1");
  EXPECT_EQ(full->sampleRate, 44100.0);
  EXPECT_EQ(full->bufferSize, 0);
  EXPECT_EQ(full->plugin, L"a b.vst3");
  EXPECT_EQ(full->instances, 127);
  EXPECT_TRUE(full->start);
  EXPECT_EQ(full->seconds, 0.25);
  EXPECT_EQ(full->stateDir, L"/");
  EXPECT_EQ(full->settings, L"s.txt");
  EXPECT_EQ(full->virtualDevice.inputs, 1024);
  EXPECT_EQ(full->virtualDevice.outputs, 1);
  EXPECT_EQ(full->virtualDevice.sourceFile, L"in.wav");
  EXPECT_EQ(full->virtualDevice.captureFile, L"out.wav");
  EXPECT_EQ(full->virtualDevice.clock, platform::VirtualClock::fast);
}

TEST(Options, RefuseWhatMakesNoSenseByName) {
  const struct {
    Arguments arguments;
    const char* names;
  } cases[] = {
      {{"--buffer-size", "-1"}, "--buffer-size"},
      {{"--buffer-size", "65537"}, "--buffer-size"},
      {{"--buffer-size", "64.5"}, "--buffer-size"},
      {{"--buffer-size", "99999999999999999999"}, "--buffer-size"},
      {{"--buffer-size"}, "--buffer-size"},
      {{"--sample-rate", "999"}, "--sample-rate"},
      {{"--sample-rate", "768001"}, "--sample-rate"},
      {{"--sample-rate", "fast"}, "--sample-rate"},
      {{"--sample-rate", "nan"}, "--sample-rate"},
      {{"--sample-rate", "inf"}, "--sample-rate"},
      {{"--instances", "-1"}, "--instances"},
      {{"--instances", "128"}, "--instances"},
      {{"--start", "--seconds", "0"}, "--seconds"},
      {{"--start", "--seconds", "-1"}, "--seconds"},
      {{"--start", "--seconds", "nan"}, "--seconds"},
      {{"--start", "--seconds", "1e10"}, "--seconds"},
      {{"--seconds", "1"}, "--start"},
      {{"--virtual-inputs", "0"}, "--virtual-inputs"},
      {{"--virtual-outputs", "1025"}, "--virtual-outputs"},
      {{"--virtual-clock", "slow"}, "--virtual-clock"},
      {{"--virtual-clock", "1"}, "--virtual-clock"},
      {{"--state-dir", "/no/such/folder"}, "/no/such/folder"},
      {{"--no-such-option"}, "--no-such-option"},
      {{"stray"}, "stray"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.arguments));
    std::string text;
    int exitCode = 0;
    EXPECT_FALSE(ParseOptions(c.arguments, text, exitCode));
    EXPECT_EQ(exitCode, 2);
    EXPECT_THAT(text, HasSubstr(c.names));
    EXPECT_EQ(text.back(), '\n');
  }
}

TEST(Options, HelpTellsAllOfThem) {
  for (const char* help : {"--help", "-h"}) {
    std::string text;
    int exitCode = -1;
    EXPECT_FALSE(ParseOptions({help}, text, exitCode));
    EXPECT_EQ(exitCode, 0);
    for (const char* option :
         {"--device", "--sample-rate", "--buffer-size", "--plugin", "--instances", "--start", "--seconds",
          "--state-dir", "--settings", "--virtual-inputs", "--virtual-outputs", "--virtual-source", "--virtual-capture",
          "--virtual-clock", "real|fast", "--list-devices", "--validate", "--version"}) {
      EXPECT_THAT(text, HasSubstr(option));
    }
  }
}

}  // namespace
}  // namespace tarnwick::app
