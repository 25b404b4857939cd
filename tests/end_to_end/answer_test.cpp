// What the program answers and what it refuses; neither leaves anything behind.
#include <gmock/gmock.h>
#include <unistd.h>

#include <set>

#include "platform/temporary_folder.h"
#include "program.h"

namespace tarnwick::tests {
namespace {

using platform::Bytes;
using platform::ReadBytes;
using platform::TemporaryFolder;
using platform::WriteBytes;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

using Arguments = std::vector<std::string>;

std::string testModule(const std::string& name) {
  return std::string(TARNWICK_TEST_MODULES) + "/" + name + ".vst3";
}

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

class Files : public ::testing::Test {
 protected:
  void SetUp() override {
    const Bytes whole = ReadBytes(testModule("gain"));
    ASSERT_GT(whole.size(), 4096u);
    WriteBytes(folder.name("text.vst3"), bytesOf("This is no library.\n"));
    WriteBytes(folder.name("empty.vst3"), {});
    WriteBytes(folder.name("cut.vst3"), Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(whole.size() / 2)));
    std::filesystem::create_directory(folder.name("folder.vst3"));

    WriteBytes(folder.name("text.wav"), bytesOf("This is no sound.\n"));
    WriteBytes(folder.name("empty.wav"), {});
    const std::string noChannels(
        "RIFF\x2c\0\0\0WAVEfmt \x10\0\0\0\x03\0\0\0\x80\xbb\0\0\0\xee\x02\0\x04\0\x20\0data\x08\0\0\0"
        "\0\0\0\0\0\0\0\0",
        52);
    WriteBytes(folder.name("nochannels.wav"), bytesOf(noChannels));
    WriteBytes(folder.name("locked.wav"), bytesOf(noChannels));
    std::filesystem::permissions(folder.name("locked.wav"), std::filesystem::perms::none);
  }

  std::set<std::string> contents() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.name(""))) {
      names.insert(entry.path().string());
    }
    return names;
  }

  void expectRefusal(const Arguments& arguments, const std::string& names, const std::string& because = "") {
    SCOPED_TRACE(::testing::PrintToString(arguments));
    const std::set<std::string> before = contents();
    const ProgramResult result = RunTarnwick(arguments);
    EXPECT_TRUE(result.exitCode == 1 || result.exitCode == 2) << result.exitCode;
    EXPECT_THAT(result.err, HasSubstr(names));
    EXPECT_THAT(result.err, HasSubstr(because));
    EXPECT_FALSE(result.leftProcesses || result.tookTooLong);
    EXPECT_FALSE(result.summary().IsObject());
    EXPECT_EQ(contents(), before);
  }

  TemporaryFolder folder;
};

using Effect = Files;
using Refusal = Files;

TEST_F(Effect, ThatIsNoneIsRefusedByName) {
  const struct {
    std::string path;
    const char* validation;
  } cases[] = {
      {folder.name("text.vst3"), "LoadLibrary failed."},
      {folder.name("empty.vst3"), "LoadLibrary failed."},
      {folder.name("cut.vst3"), "LoadLibrary failed."},
      {folder.name("folder.vst3"), "LoadLibrary failed."},
      {folder.name("missing.vst3"), "LoadLibrary failed."},
      {testModule("no_factory"), "GetPluginFactory symbol not found."},
      {testModule("no_classes"), ""},
      {testModule("factory_throws"), ""},
  };
  for (const auto& c : cases) {
    expectRefusal({"--plugin", c.path, "--instances", "2", "--start", "--seconds", "1", "--virtual-clock", "fast"},
                  c.path);
    expectRefusal({"--validate", c.path}, "VST3 validation failed: ", c.validation);
  }
  expectRefusal({"--plugin", testModule("setup_fails"), "--instances", "2", "--start", "--seconds", "1"},
                "Failed to create VST3 instance #1.");
}

TEST_F(Refusal, NamesWhatIsWrong) {
  const Arguments run = {"--instances", "2", "--start", "--seconds", "1", "--virtual-clock", "fast"};
  const struct {
    Arguments arguments;
    std::string names;
  } cases[] = {
      {{"--virtual-source", folder.name("missing.wav")}, folder.name("missing.wav")},
      {{"--virtual-source", folder.name("text.wav")}, folder.name("text.wav")},
      {{"--virtual-source", folder.name("empty.wav")}, folder.name("empty.wav")},
      {{"--virtual-source", folder.name("nochannels.wav")}, folder.name("nochannels.wav")},
      {{"--virtual-source", folder.name("folder.vst3")}, folder.name("folder.vst3")},
      {{"--virtual-capture", folder.name("none/out.wav")}, folder.name("none/out.wav")},
      {{"--virtual-capture", folder.name("folder.vst3")}, folder.name("folder.vst3")},
      {{"--virtual-source", folder.name("text.wav"), "--virtual-capture", folder.name("out.wav")},
       folder.name("text.wav")},
      {{"--device", "No Such Device"}, "No Such Device"},
      {{"--virtual-inputs", "0"}, "--virtual-inputs"},
      {{"--virtual-outputs", "5000"}, "--virtual-outputs"},
      {{"--buffer-size", "1000000000"}, "--buffer-size"},
      {{"--sample-rate", "nan"}, "--sample-rate"},
      {{"--state-dir", folder.name("none")}, folder.name("none")},
      {{"--virtual-clock", "slow"}, "--virtual-clock"},
      {{"--surprise"}, "--surprise"},
  };
  for (const auto& c : cases) {
    Arguments arguments = run;
    if (c.arguments[0] == "--virtual-clock") {
      arguments.resize(arguments.size() - 2);
    }
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    expectRefusal(arguments, c.names);
  }
  expectRefusal({"--seconds", "1"}, "--start");
  expectRefusal({"--start", "--instances", "128"}, "--instances");
  expectRefusal({"--start"}, "Add at least one VST instance.");
  if (geteuid() != 0) {  // nothing is locked to the superuser
    expectRefusal({"--virtual-source", folder.name("locked.wav")}, folder.name("locked.wav"));
  }
}

TEST(Answer, ComesAloneAndEndsTheProgram) {
  const struct {
    Arguments arguments;
    const char* out;
  } cases[] = {
      {{"--version"}, "Tarnwick [0-9]+\\.[0-9]+\\.[0-9]+ \\([0-9a-z]+\\+?, [A-Za-z]+\\)\n"},
      {{"--list-devices"}, "(.*\n)?Tarnwick Virtual Audio\n.*"},
      {{"--validate", testModule("gain")}, "Valid VST3 effect: .+\n"},
      {{"--validate", TARNWICK_OMBREL}, "Valid VST3 effect: Ombrel\n"},
      {{"--help"}, "Tarnwick, .*--virtual-capture.*"},
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

// A capture begins with the first block: a run that never gets there leaves what was in the file, or no file.
TEST_F(Refusal, LeavesTheCaptureFileAlone) {
  const Bytes before = bytesOf("last night's recording");
  WriteBytes(folder.name("out.wav"), before);
  for (const char* name : {"out.wav", "new.wav"}) {
    expectRefusal(
        {"--start", "--instances", "1", "--plugin", folder.name("text.vst3"), "--virtual-capture", folder.name(name)},
        "Failed to load the selected VST3 plugin file.");
    EXPECT_EQ(RunTarnwick({"--list-devices", "--virtual-capture", folder.name(name)}).exitCode, 0);
  }
  EXPECT_EQ(ReadBytes(folder.name("out.wav")), before);
  EXPECT_FALSE(std::filesystem::exists(folder.name("new.wav")));
}

}  // namespace
}  // namespace tarnwick::tests
