#include <gtest/gtest.h>

#include <filesystem>

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/temporary_folder.h"
#include "platform/windows/long_path.h"

namespace tarnwick::platform {
namespace {

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
      {L"C:\\short", L"C:\\short"},
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
  const std::wstring top = folder.wide(
      "Stra\xC3\x9F"
      "e \xF0\x9F\x8E\xB5");
  std::wstring deep = top;
  for (const wchar_t level : {L'a', L'b', L'c', L'd', L'e', L'f'}) {
    deep = JoinPath(deep, std::wstring(60, level));
  }
  const std::wstring file = JoinPath(deep, L"file.txt");
  EXPECT_FALSE(FolderExists(deep));
  EXPECT_TRUE(ReplaceFileContents(file, "x"));
  EXPECT_TRUE(ReplaceFileContents(file, "again"));
  EXPECT_EQ(ReadWholeFile(file, 9).bytes, "again");
  EXPECT_GT(FreeSpace(deep).value_or(0), 0u);
  EXPECT_TRUE(FolderExists(deep));
  EXPECT_FALSE(FileExists(deep));
  EXPECT_TRUE(FileExists(file));
  EXPECT_FALSE(FolderExists(file));
  EXPECT_FALSE(FileExists(file + L"x"));
  // The folder's own end could not reach that deep.
  std::filesystem::remove(ExtendedPath(file));
  for (; deep != top; deep = deep.substr(0, deep.rfind(L'\\'))) {
    std::filesystem::remove(ExtendedPath(deep));
  }
}

}  // namespace
}  // namespace tarnwick::platform
