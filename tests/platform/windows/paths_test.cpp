#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/paths.h"
#include "platform/temporary_folder.h"
#include "platform/windows/long_path.h"

namespace tarnwick::platform {
namespace {

TEST(WindowsPaths, JoinUsesOneSeparator) {
  const struct {
    const wchar_t* folder;
    const wchar_t* joined;
  } cases[] = {{L"C:\\a", L"C:\\a\\x"}, {L"C:\\", L"C:\\x"}, {L"C:/a/", L"C:/a/x"}, {L"", L"x"}};
  for (const auto& c : cases) {
    EXPECT_EQ(JoinPath(c.folder, L"x"), c.joined);
  }
}

TEST(WindowsPaths, OnlyAPathWithItsDriveStaysOnThisMachine) {
  for (const wchar_t* path : {L"C:\\", L"z:\\a", L"C:/a"}) {
    EXPECT_TRUE(NamesOwnDrive(path)) << Utf8FromWide(path);
  }
  for (const wchar_t* path : {L"", L"C:", L"C:a", L"a", L"\\a", L"/a", L"1:\\", L"\u00e9:\\", L"\\\\h\\s", L"//h/s",
                              L"\\/h/s", L"\\\\?\\C:\\", L"\\\\.\\C:\\", L"\\??\\C:\\", L" C:\\"}) {
    EXPECT_FALSE(NamesOwnDrive(path)) << Utf8FromWide(path);
  }
}

TEST(WindowsPaths, OnlyALongPathIsExtended) {
  const std::wstring name(300, L'n');
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"", L""},
      {L"C:\\short", L"C:\\short"},
      {L"relative", L"relative"},
      {L"C:\\a/b/..\\" + name, L"\\\\?\\C:\\a\\" + name},
      {L"\\\\server\\share\\" + name, L"\\\\?\\UNC\\server\\share\\" + name},
      {L"\\\\?\\C:\\" + name, L"\\\\?\\C:\\" + name},
      {L"\\\\.\\pipe\\" + name, L"\\\\.\\pipe\\" + name},
  };
  for (const auto& [given, extended] : cases) {
    EXPECT_EQ(ExtendedPath(given), extended);
  }
}

TEST(WindowsPaths, FilesAndFoldersAreFoundAtAnyDepth) {
  TemporaryFolder folder;
  std::wstring deep = folder.wide(
      "Stra\xC3\x9F"
      "e \xF0\x9F\x8E\xB5");
  for (int level = 0; level < 6; ++level) {
    deep = JoinPath(deep, std::wstring(60, static_cast<wchar_t>(L'a' + level)));
  }
  ASSERT_GT(deep.size(), 360u);
  const std::wstring file = JoinPath(deep, L"file.txt");
  EXPECT_FALSE(FolderExists(deep));
  std::filesystem::create_directories(ExtendedPath(deep));
  std::ofstream(std::filesystem::path(ExtendedPath(file))) << "x";
  EXPECT_TRUE(FolderExists(deep));
  EXPECT_FALSE(FileExists(deep));
  EXPECT_TRUE(FileExists(file));
  EXPECT_FALSE(FolderExists(file));
  EXPECT_FALSE(FileExists(file + L"x"));
  EXPECT_FALSE(FileExists(L""));
  EXPECT_FALSE(FolderExists(L""));
  // The folder's own end could not reach that deep.
  std::error_code failure;
  std::filesystem::remove(ExtendedPath(file), failure);
  for (std::filesystem::path at = ExtendedPath(deep); at.filename().wstring().size() >= 8; at = at.parent_path()) {
    std::filesystem::remove(at, failure);
  }
}

TEST(WindowsPaths, TheExecutableLiesInItsFolder) {
  EXPECT_TRUE(FileExists(JoinPath(ExecutableFolder(), L"platform_test.exe")));
}

}  // namespace
}  // namespace tarnwick::platform
