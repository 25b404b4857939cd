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
  EXPECT_FALSE(plain->device || plain->bufferSize || plain->sampleRate || plain->start);
  EXPECT_EQ(plain->remotePort, 20831);

  const auto full = ParseOptions(
      {"--device=K\u00fcche 1", "--buffer-size=0", "--plugin", "a b.vst3", "--instances=127", "--state-dir=/"}, text,
      exitCode);
  ASSERT_TRUE(full) << text;
  EXPECT_EQ(full->device, L"K\u00fcche 1");
  EXPECT_EQ(full->bufferSize, 0);
  EXPECT_EQ(full->plugin, L"a b.vst3");
  EXPECT_EQ(full->instances, 127);
  EXPECT_EQ(full->stateDir, L"/");
}

TEST(Options, RefuseWhatMakesNoSenseByName) {
  const struct {
    Arguments arguments;
    const char* names;
  } cases[] = {
      {{"--buffer-size", "64.5"}, "--buffer-size"},
      {{"--buffer-size"}, "--buffer-size"},
      {{"--sample-rate", "nan"}, "--sample-rate"},
      {{"--instances", "-1"}, "--instances"},
      {{"--instances", "128"}, "--instances"},
      {{"--start", "--seconds", "0"}, "--seconds"},
      {{"--start", "--seconds", "nan"}, "--seconds"},
      {{"--start", "--seconds", "1e10"}, "--seconds"},
      {{"--seconds", "1"}, "--start"},
      {{"--virtual-inputs", "0"}, "--virtual-inputs"},
      {{"--virtual-outputs", "1025"}, "--virtual-outputs"},
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

}  // namespace
}  // namespace tarnwick::app
