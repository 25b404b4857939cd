#include "platform/paths.h"

#include <cwchar>
#include <iterator>
#include <string_view>

#include "platform/windows/long_path.h"
#include "platform/windows/own_program.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

// A folder must leave room for a file name of 8.3 characters, so its limit is the lower one.
constexpr size_t kShortPath = MAX_PATH - 12;
constexpr std::wstring_view kPlainPrefix = L"\\\\?\\";
constexpr std::wstring_view kSharePrefix = L"\\\\?\\UNC\\";
constexpr std::wstring_view kShareStart = L"\\\\";
constexpr std::wstring_view kDevicePrefixes[] = {kPlainPrefix, L"\\\\.\\"};

// A drive for exchangeable media may be empty, which only a look at it tells.
bool isReady(const wchar_t* root) {
  switch (GetDriveTypeW(root)) {
    case DRIVE_FIXED:
    case DRIVE_RAMDISK:
      return true;
    case DRIVE_REMOVABLE:
    case DRIVE_CDROM:
      return GetFileAttributesW(root) != INVALID_FILE_ATTRIBUTES;
    default:
      return false;
  }
}

DWORD attributesOf(const std::wstring& path) {
  return GetFileAttributesW(ExtendedPath(path).c_str());
}

}  // namespace

std::wstring AbsolutePath(const std::wstring& path) {
  std::wstring absolute(MAX_PATH, L'\0');
  for (;;) {
    const DWORD size = GetFullPathNameW(path.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr);
    const bool fits = size < absolute.size();
    absolute.resize(size);
    if (fits) {
      return absolute;
    }
  }
}

std::wstring ExtendedPath(const std::wstring& path) {
  for (const std::wstring_view prefix : kDevicePrefixes) {
    if (path.starts_with(prefix)) {
      return path;
    }
  }
  if (path.size() < kShortPath) {
    return path;
  }
  std::wstring absolute = AbsolutePath(path);
  if (absolute.empty()) {
    return path;
  }
  if (absolute.starts_with(kShareStart)) {
    return absolute.replace(0, kShareStart.size(), kSharePrefix);
  }
  return absolute.insert(0, kPlainPrefix);
}

std::wstring ExecutableFolder() {
  const std::wstring program = OwnExecutable();
  const size_t end = program.find_last_of(L"\\/");
  return end == std::wstring::npos ? std::wstring(L".") : program.substr(0, end);
}

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name) {
  if (folder.empty() || folder.back() == L'\\' || folder.back() == L'/') {
    return folder + name;
  }
  return folder + L'\\' + name;
}

bool FileExists(const std::wstring& path) {
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool FolderExists(const std::wstring& path) {
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool NamesOwnDrive(const std::wstring& path) {
  const auto isLetter = [](wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); };
  return path.size() >= 3 && isLetter(path[0]) && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
}

std::vector<std::wstring> Drives() {
  wchar_t roots[26 * 4 + 1] = {};  // "C:\\" and a zero for each letter, and one more zero
  const DWORD length = GetLogicalDriveStringsW(static_cast<DWORD>(std::size(roots)), roots);
  std::vector<std::wstring> drives;
  if (length >= std::size(roots)) {
    return drives;
  }
  // An empty drive is no cause for a message box.
  DWORD before = 0;
  SetThreadErrorMode(SEM_FAILCRITICALERRORS, &before);
  for (const wchar_t* root = roots; *root != L'\0'; root += std::wcslen(root) + 1) {
    if (isReady(root)) {
      drives.emplace_back(root);
    }
  }
  SetThreadErrorMode(before, nullptr);
  return drives;
}

std::vector<std::wstring> PluginFolders() {
  wchar_t common[MAX_PATH] = {};
  const DWORD length = GetEnvironmentVariableW(L"CommonProgramFiles", common, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return {};
  }
  return {JoinPath(common, L"VST3")};
}

}  // namespace tarnwick::platform
