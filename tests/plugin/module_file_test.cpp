// Which files load at all: bundles, and files that are no libraries or only a part of one.
#include <filesystem>

#include "platform/temporary_folder.h"
#include "plugin_fixture.h"
#include "support/broken_library.h"

namespace tarnwick::plugin {
namespace {

namespace fs = std::filesystem;

TEST_F(PluginTest, FilesThatAreNoWholeLibraryFailToLoad) {
  const platform::Bytes gain = platform::ReadBytes(platform::Utf8FromWide(TestModule("gain")));
  const std::string whole(gain.begin(), gain.end());
  ASSERT_GT(whole.size(), 4096u);
  NamedBytes files = BrokenLibraries(whole);
  files.insert(files.end(), {{"text.vst3", "This is not a library.\n" + std::string(500, 'x')},
                             {"empty.vst3", ""},
                             {"header.vst3", whole.substr(0, 64)},
                             {"half.vst3", whole.substr(0, whole.size() / 2)}});
  const platform::TemporaryFolder folder;
  fs::create_directory(folder.name("folder.vst3"));
  // Libraries that would be found in the system's folders.
  std::vector<std::wstring> paths = {folder.wide("folder.vst3"), L"", L"libc.so.6", L"kernel32.dll"};
  for (const auto& [name, bytes] : files) {
    platform::WriteBytes(folder.name(name), {bytes.begin(), bytes.end()});
    paths.push_back(folder.wide(name));
  }
  for (const std::wstring& path : paths) {
    SCOPED_TRACE(platform::Utf8FromWide(path));
    std::wstring reason;
    EXPECT_EQ(platform::Module::Load(path, &reason), nullptr);
    EXPECT_NE(reason, L"");
    EXPECT_FALSE(ValidateModule(path));
  }
}

TEST_F(PluginTest, ABundleStandsForTheLibraryInIt) {
  const platform::TemporaryFolder folder;
  const fs::path bundle = fs::path(folder.name("")) / "My Gain \u00e4.vst3";
  const fs::path library = bundle / "Contents" / kBundleFolder / (std::string("My Gain \u00e4") + kBundleSuffix);
  const auto wide = [](const fs::path& path) { return platform::WideFromUtf8(path.string()); };
  fs::create_directories(library.parent_path());
  EXPECT_EQ(platform::ResolveModuleFile(wide(bundle)), wide(bundle)) << "a bundle without a library";
  fs::copy_file(platform::Utf8FromWide(TestModule("gain")), library);
  for (const std::wstring& given : {wide(bundle), wide(bundle) + L"/", wide(library)}) {
    EXPECT_EQ(platform::ResolveModuleFile(given), wide(library));
    EXPECT_TRUE(LoadModule(state, given));
  }
  EXPECT_EQ(platform::ResolveModuleFile(wide(bundle.parent_path())), wide(bundle.parent_path())) << "no bundle";
  UnloadModule(state);
}

}  // namespace
}  // namespace tarnwick::plugin
