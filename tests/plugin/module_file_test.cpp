// Which files load at all: bundles, and files that are no libraries or only a part of one.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "plugin_fixture.h"
#include "support/broken_library.h"

namespace tarnwick::plugin {
namespace {

namespace fs = std::filesystem;

class ModuleFileTest : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    std::random_device random;
    folder = fs::temp_directory_path() / ("tarnwick-module-" + std::to_string(random()) + std::to_string(random()));
    ASSERT_TRUE(fs::create_directory(folder));
  }
  void TearDown() override {
    fs::remove_all(folder);
    PluginTest::TearDown();
  }

  static std::string readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  fs::path write(const std::string& name, const std::string& bytes) {
    std::ofstream(folder / name, std::ios::binary) << bytes;
    return folder / name;
  }
  static std::wstring wide(const fs::path& path) { return platform::WideFromUtf8(path.string()); }

  fs::path folder;
};

TEST_F(ModuleFileTest, FilesThatAreNoWholeLibraryFailToLoad) {
  const std::string whole = readAll(platform::Utf8FromWide(TestModule("gain")));
  ASSERT_GT(whole.size(), 4096u);
  std::vector<fs::path> files = {
      write("text.vst3", "This is not a library.\n" + std::string(500, 'x')),
      write("empty.vst3", ""),
      write("magic.vst3", whole.substr(0, 4)),
      write("header.vst3", whole.substr(0, 64)),
      write("half.vst3", whole.substr(0, whole.size() / 2)),
      write("quarter.vst3", whole.substr(0, whole.size() / 4)),
      folder,
      folder / "missing.vst3",
      "",
      "libc.so.6",  // would be found in the system's folders
      "kernel32.dll",
  };
  for (const auto& [name, bytes] : BrokenLibraries(whole)) {
    files.push_back(write(name, bytes));
  }
  fs::create_directory(folder / "folder.vst3");
  files.push_back(folder / "folder.vst3");
  for (const fs::path& file : files) {
    SCOPED_TRACE(file);
    std::wstring reason;
    EXPECT_EQ(platform::Module::Load(wide(file), &reason), nullptr);
    EXPECT_NE(reason, L"");
    EXPECT_FALSE(LoadModule(state, wide(file)));
    EXPECT_FALSE(ValidateModule(wide(file), &reason));
    EXPECT_EQ(reason, L"VST3 validation failed: LoadLibrary failed.");
  }
}

TEST_F(ModuleFileTest, ABundleStandsForTheLibraryInIt) {
  const fs::path bundle = folder / "My Gain \u00e4.vst3";
  const fs::path library = bundle / "Contents" / kBundleFolder / (std::string("My Gain \u00e4") + kBundleSuffix);
  fs::create_directories(library.parent_path());
  EXPECT_EQ(platform::ResolveModuleFile(wide(bundle)), wide(bundle)) << "a bundle without a library";
  fs::copy_file(platform::Utf8FromWide(TestModule("gain")), library);
  for (const std::wstring& given : {wide(bundle), wide(bundle) + L"/", wide(library)}) {
    EXPECT_EQ(platform::ResolveModuleFile(given), wide(library));
    EXPECT_TRUE(LoadModule(state, given));
    EXPECT_TRUE(ValidateModule(given));
  }
  EXPECT_EQ(platform::ResolveModuleFile(wide(folder)), wide(folder)) << "a folder that is no bundle";
  UnloadModule(state);
}

TEST_F(ModuleFileTest, OneLibraryWithTwoOwnersIsEnteredAndLeftOnce) {
  auto first = platform::Module::Load(TestModule("gain"));
  auto second = platform::Module::Load(TestModule("gain"));
  ASSERT_TRUE(first != nullptr && second != nullptr);
  listenTo(*first);
  first.reset();
  EXPECT_THAT(takeCalls(), ::testing::ElementsAre("ModuleEntry"));
  EXPECT_NE(second->symbol("GetPluginFactory"), nullptr);
  EXPECT_EQ(second->symbol("NoSuchFunction"), nullptr);
  second.reset();
  EXPECT_THAT(takeCalls(), ::testing::ElementsAre("ModuleExit with 0 objects"));
}

}  // namespace
}  // namespace tarnwick::plugin
