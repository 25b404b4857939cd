#include "platform/paths.h"

#include <filesystem>
#include <system_error>

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

}  // namespace tarnwick::platform
