#include "platform/linux/user_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace tarnwick::platform {
namespace {

// A variable that holds an absolute path; else empty.
std::string pathIn(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && value[0] == '/' ? std::string(value) : std::string();
}

}  // namespace

std::string HomeFolder() {
  std::string home = pathIn("HOME");
  if (home.empty()) {
    std::array<char, 16384> texts{};
    passwd account{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &account, texts.data(), texts.size(), &found) == 0 && found != nullptr) {
      home = found->pw_dir;
    }
  }
  return home;
}

std::string ConfigurationFolder() {
  std::string folder = pathIn("XDG_CONFIG_HOME");
  if (!folder.empty()) {
    return folder;
  }
  folder = HomeFolder();
  return folder.empty() ? folder : folder + "/.config";
}

std::string OwnExecutable() {
  std::error_code failure;
  std::string path = std::filesystem::read_symlink("/proc/self/exe", failure).string();
  constexpr std::string_view kReplaced = " (deleted)";  // what the kernel adds
  if (path.ends_with(kReplaced) && !std::filesystem::exists(path, failure)) {
    path.resize(path.size() - kReplaced.size());
  }
  return path;
}

}  // namespace tarnwick::platform
