// Rules of Windows' loader alone.
#include <windows.h>

#include <filesystem>
#include <fstream>

#include "platform/temporary_folder.h"
#include "plugin/plugin_fixture.h"

namespace tarnwick::plugin {
namespace {

using platform::Module;

TEST(WindowsModule, ANameWithoutExtensionIsTakenAsItStands) {
  platform::TemporaryFolder folder;
  const std::filesystem::path gain(TestModule("gain"));
  std::filesystem::copy_file(gain, folder.wide("effect.dll"));
  std::ofstream(folder.name("effect")) << "no library";
  EXPECT_EQ(Module::Load(folder.wide("effect")), nullptr) << "the one with \".dll\" was loaded";
  std::filesystem::copy_file(gain, folder.wide("plain"));
  EXPECT_NE(Module::Load(folder.wide("plain")), nullptr);
}

TEST(WindowsModule, TheThreadsErrorModeIsLeftAsItWas) {
  const DWORD before = GetThreadErrorMode();
  for (const DWORD mode : {DWORD{0}, DWORD{SEM_NOGPFAULTERRORBOX}}) {
    ASSERT_TRUE(SetThreadErrorMode(mode, nullptr));
    EXPECT_NE(Module::Load(TestModule("gain")), nullptr);
    EXPECT_EQ(GetThreadErrorMode(), mode);
    EXPECT_EQ(Module::Load(TestModule("missing")), nullptr);
    EXPECT_EQ(GetThreadErrorMode(), mode);
  }
  SetThreadErrorMode(before, nullptr);
}

TEST(WindowsModule, TheReasonIsTheSystemsAndNamesTheFile) {
  platform::TemporaryFolder folder;
  std::ofstream(folder.name("text.vst3")) << "no library";
  std::wstring reason;
  EXPECT_EQ(Module::Load(folder.wide("text.vst3"), &reason), nullptr);
  EXPECT_EQ(reason.find(L"%1"), std::wstring::npos) << reason;
  EXPECT_EQ(reason.find_first_of(L"\r\n"), std::wstring::npos) << reason;
  EXPECT_GT(reason.size(), 10u);
}

// The bundle's extension in any case, as the file system has it.
TEST(WindowsModule, ABundleMayBeWrittenInCapitals) {
  platform::TemporaryFolder folder;
  const std::filesystem::path bundle = folder.wide("Gain.VST3");
  std::filesystem::create_directories(bundle / "Contents" / "x86_64-win");
  const std::filesystem::path library = bundle / "Contents" / "x86_64-win" / "Gain.vst3";
  std::filesystem::copy_file(std::filesystem::path(TestModule("gain")), library);
  EXPECT_EQ(platform::ResolveModuleFile(bundle.wstring()), library.wstring());
  EXPECT_EQ(platform::ResolveModuleFile(bundle.wstring() + L"\\"), library.wstring());
}

}  // namespace
}  // namespace tarnwick::plugin
