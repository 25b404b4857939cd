#include "platform/service_rig.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/text.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

int inheritable[2] = {-1, -1};
uint64_t maskBefore = 0;

std::string state(int policy, int nice, uint64_t processors, const std::string& files) {
  return "policy " + std::to_string(policy) + ", nice " + std::to_string(nice) + ", processors " +
         std::to_string(processors) + ", files " + files;
}

}  // namespace

std::vector<std::string> OwnArguments(int argc, char** argv) {
  return std::vector<std::string>(argv + 1, argv + argc);
}

std::string ProcessState() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (!target.starts_with("/proc/")) {  // the folder itself
      files.push_back(entry.path().filename().string() + (target == "/dev/null" ? "-" : ""));
    }
  }
  std::sort(files.begin(), files.end());
  std::string list;
  for (const std::string& file : files) {
    list += file + " ";
  }
  return state(sched_getscheduler(0), getpriority(PRIO_PROCESS, 0), ThreadAffinity(), list);
}

std::string OrdinaryState() {
  return state(SCHED_OTHER, 0, SystemAffinityMask(), "0- 1 2 ");
}

void BurdenThread() {
  SystemAffinityMask();
  maskBefore = ThreadAffinity();
  SetThreadAffinity(maskBefore & (~maskBefore + 1));
  if (geteuid() == 0) {  // nobody else may take it back
    SetThreadPriorityLevel(-1);
  }
  if (pipe(inheritable) != 0) {
    inheritable[0] = inheritable[1] = -1;
  }
}

void RelieveThread() {
  SetThreadAffinity(maskBefore);
  SetThreadPriorityLevel(0);
  close(inheritable[0]);
  close(inheritable[1]);
}

bool StartBeside(const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {"beside"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  pid_t process = 0;
  return posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, pointers.data(), environ) == 0;
}

bool HasChildren() {
  siginfo_t child{};
  return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

std::wstring NewRegistryPlace() {
  std::string folder = (std::filesystem::temp_directory_path() / "tarnwick-values-XXXXXX").string();
  return mkdtemp(folder.data()) != nullptr ? WideFromUtf8(folder + "/a folder/values") : std::wstring();
}

void RemoveRegistryPlace(const std::wstring& place) {
  std::error_code failure;
  std::filesystem::remove_all(std::filesystem::path(Utf8FromWide(place)).parent_path().parent_path(), failure);
}

void SetStartupFolder(const std::wstring& folder) {
  setenv("XDG_CONFIG_HOME", Utf8FromWide(folder).c_str(), 1);
}

// As far as the path needs no escapes; those have a test of their own.
std::wstring StartupTarget() {
  std::ifstream file(std::string(std::getenv("XDG_CONFIG_HOME")) + "/autostart/tarnwick.desktop");
  const std::string key = "Exec=\"";
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(key) && line.ends_with('"')) {
      return WideFromUtf8(line.substr(key.size(), line.size() - key.size() - 1));
    }
  }
  return {};
}

}  // namespace tarnwick::platform
