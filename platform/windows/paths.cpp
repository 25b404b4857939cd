#include "platform/paths.h"

#include <string_view>

#include "platform/windows/long_path.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

// A folder must leave room for a file name of 8.3 characters, so its limit is the lower one.
constexpr size_t kShortPath = MAX_PATH - 12;
constexpr size_t kLongestPath = 32768;
constexpr std::wstring_view kPlainPrefix = L"\\\\?\\";
constexpr std::wstring_view kSharePrefix = L"\\\\?\\UNC\\";
constexpr std::wstring_view kShareStart = L"\\\\";
constexpr std::wstring_view kDevicePrefixes[] = {kPlainPrefix, L"\\\\.\\"};

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
  std::wstring program(MAX_PATH, L'\0');
  DWORD length = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
  while (length >= program.size() && program.size() < kLongestPath) {
    program.resize(program.size() * 2);
    length = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
  }
  const size_t end = program.substr(0, length).find_last_of(L"\\/");
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

}  // namespace tarnwick::platform
