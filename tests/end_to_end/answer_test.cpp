// Answers and refusals of the program; neither leaves anything behind.
#include <gmock/gmock.h>

#include <set>

#include "program.h"

namespace tarnwick::tests {
namespace {

using platform::Bytes;
using platform::ReadBytes;
using platform::WriteBytes;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

const std::string kNote = "last night's recording";

class Refusal : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"text.vst3", "text.wav", "out.wav"}) {
      WriteBytes(folder.name(name), {kNote.begin(), kNote.end()});
    }
  }

  std::set<std::string> contents() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.name(""))) {
      names.insert(entry.path().string());
    }
    return names;
  }

  void expectRefusal(const Arguments& arguments, const std::string& names) {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    const std::set<std::string> before = contents();
    const ProgramResult result = RunTarnwick(arguments);
    EXPECT_TRUE(result.exitCode == 1 || result.exitCode == 2) << result.exitCode;
    EXPECT_THAT(result.err, HasSubstr(names));
    EXPECT_FALSE(result.leftProcesses || result.tookTooLong);
    EXPECT_FALSE(result.summary().IsObject());
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(ReadBytes(folder.name("out.wav")), Bytes(kNote.begin(), kNote.end()));
  }

  platform::TemporaryFolder folder;
};

// A capture begins with the first block: a run that never gets there leaves what was in the file, or no file.
TEST_F(Refusal, NamesWhatIsWrongAndLeavesEveryFileAlone) {
  const struct {
    Arguments arguments;
    std::string names;
  } cases[] = {
      {{"--plugin", folder.name("text.vst3"), "--virtual-capture", folder.name("out.wav")}, folder.name("text.vst3")},
      {{"--plugin", folder.name("text.vst3"), "--virtual-capture", folder.name("new.wav")},
       "tarnwick: Failed to load the selected VST3 plugin file.\n"},
      {{"--virtual-source", folder.name("text.wav")}, folder.name("text.wav")},
      {{"--virtual-source", folder.name("missing.wav"), "--virtual-capture", folder.name("out.wav")},
       folder.name("missing.wav")},
      {{"--virtual-capture", folder.name("none/new.wav")}, folder.name("none/new.wav")},
      {{"--device", "No Such Device"}, "No Such Device"},
      {{"--virtual-outputs", "5000"}, "--virtual-outputs"},
      {{"--state-dir", folder.name("none")}, folder.name("none")},
      {{"--surprise"}, "--surprise"},
  };
  for (const auto& c : cases) {
    Arguments arguments = {"--instances", "2", "--start", "--seconds", "1", "--virtual-clock", "fast"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    expectRefusal(arguments, c.names);
  }
  expectRefusal({"--validate", folder.name("text.vst3")}, "VST3 validation failed: LoadLibrary failed.");
}

TEST_F(Refusal, TheLogHasTheReason) {
  const ProgramResult result = RunTarnwick({"--plugin", folder.name("text.vst3"), "--instances", "1", "--start"});
  EXPECT_THAT(result.out, ::testing::ContainsRegex(
                              "Failed to load the selected VST3 plugin file.\n[^\n]* Reason: [^\n]*The file is cut"));
}

TEST(Answer, ComesAloneAndEndsTheProgram) {
  const struct {
    Arguments arguments;
    const char* out;
  } cases[] = {
      {{"--version"}, "Tarnwick [0-9]+\\.[0-9]+\\.[0-9]+ \\([0-9a-z]+\\+?, [A-Za-z]+\\)\n"},
      {{"--list-devices"}, "(.*\n)?Tarnwick Virtual Audio\n.*"},
      {{"--validate", TARNWICK_OMBREL}, "Valid VST3 effect: Ombrel\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments[0]);
    const ProgramResult result = RunTarnwick(c.arguments);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, MatchesRegex(c.out));
    EXPECT_EQ(result.err, "");
    EXPECT_FALSE(result.leftProcesses);
  }
}

}  // namespace
}  // namespace tarnwick::tests
