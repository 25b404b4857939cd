#include "platform/power.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <system_error>
#include <thread>

namespace tarnwick::platform {
namespace {

void awaitEnd(pid_t process) {
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// A refusal, for want of rights say, comes quickly. True when there was one; otherwise the process is still to be
// awaited, unless `ended`.
bool refusesAtOnce(pid_t process, bool& ended) {
  constexpr int kLooks = 50;
  for (int look = 0; look < kLooks; ++look) {
    int status = 0;
    if (waitpid(process, &status, WNOHANG) == process) {
      ended = true;
      return !WIFEXITED(status) || WEXITSTATUS(status) != 0;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

bool askSystem(std::string action) {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  // It has nobody to ask for a password, and starts with no signal blocked.
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  std::string program = "systemctl";
  char* arguments[] = {program.data(), action.data(), nullptr};
  pid_t process = 0;
  const bool started = posix_spawnp(&process, program.c_str(), &files, &attributes, arguments, environ) == 0;
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  bool ended = false;
  if (!started || refusesAtOnce(process, ended)) {
    return false;
  }
  if (!ended) {
    try {
      std::thread(&awaitEnd, process).detach();
    } catch (const std::system_error&) {  // its end then goes unnoticed until the machine's, soon
    }
  }
  return true;
}

}  // namespace

Power SystemPower() {
  return {[] { return askSystem("reboot"); }, [] { return askSystem("poweroff"); }};
}

}  // namespace tarnwick::platform
