#include "platform/power.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
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
  if (started) {
    try {
      std::thread(&awaitEnd, process).detach();
    } catch (const std::system_error&) {  // its end then goes unnoticed until the machine's, soon
    }
  }
  return started;
}

}  // namespace

Power SystemPower() {
  return {[] { return askSystem("reboot"); }, [] { return askSystem("poweroff"); }};
}

}  // namespace tarnwick::platform
