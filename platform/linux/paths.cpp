#include "platform/paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/files.h"
#include "platform/linux/mounts.h"
#include "platform/linux/user_folders.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

std::filesystem::file_status statusOf(const std::wstring& path) {
  std::error_code ignored;
  return std::filesystem::status(Utf8FromWide(path), ignored);
}

}  // namespace

std::wstring ExecutableFolder() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::wstring(L".") : WideFromUtf8(program.parent_path().string());
}

std::wstring JoinPath(const std::wstring& folder, const std::wstring& name) {
  if (folder.empty() || folder.back() == L'/') {
    return folder + name;
  }
  return folder + L'/' + name;
}

bool FileExists(const std::wstring& path) {
  const auto status = statusOf(path);
  return std::filesystem::exists(status) && !std::filesystem::is_directory(status);
}

bool FolderExists(const std::wstring& path) {
  return std::filesystem::is_directory(statusOf(path));
}

bool NamesOwnDrive(const std::wstring& path) {
  return !path.starts_with(L"//") && !path.starts_with(L"\\\\");
}

std::vector<std::wstring> Drives() {
  constexpr size_t kMostBytes = size_t{4} << 20;
  std::vector<std::wstring> drives{L"/"};
  const auto add = [&drives](const std::string& path) {
    const std::wstring wide = WideFromUtf8(path);
    if (!wide.empty() && std::find(drives.begin(), drives.end(), wide) == drives.end()) {
      drives.push_back(wide);
    }
  };
  add(HomeFolder());
  for (const std::string& point : AddedMountPoints(ReadWholeFile(L"/proc/self/mounts", kMostBytes).bytes)) {
    add(point);
  }
  return drives;
}

std::vector<std::wstring> PluginFolders() {
  return {WideFromUtf8(HomeFolder() + "/.vst3"), L"/usr/local/lib/vst3", L"/usr/lib/vst3"};
}

}  // namespace tarnwick::platform
