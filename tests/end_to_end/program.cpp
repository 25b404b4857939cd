#include "program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <sstream>

namespace tarnwick::tests {

std::vector<std::string> ProgramResult::lines() const {
  std::vector<std::string> all;
  std::istringstream text(out);
  for (std::string line; std::getline(text, line);) {
    all.push_back(line);
  }
  return all;
}

rapidjson::Document ProgramResult::summary() const {
  rapidjson::Document document;
  const std::vector<std::string> all = lines();
  if (!all.empty()) {
    document.Parse(all.back().c_str());
  }
  return document;
}

RunningProgram::RunningProgram(const Arguments& arguments, const std::string& program) {
  int outEnds[2];
  int errEnds[2];
  if (pipe2(outEnds, O_CLOEXEC) != 0 || pipe2(errEnds, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipes";
    return;
  }
  out_ = outEnds[0];
  err_ = errEnds[0];
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outEnds[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errEnds[1], STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);

  Arguments words = {"env", "XDG_CONFIG_HOME=" + folder_.name(""), program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const auto givesPort = [](const std::string& word) { return word.starts_with("--remote-port"); };
  if (program == TARNWICK_PROGRAM && std::none_of(words.begin(), words.end(), givesPort)) {
    words.push_back("--remote-port=0");
  }
  std::vector<char*> pointers;
  std::transform(words.begin(), words.end(), std::back_inserter(pointers), [](std::string& w) { return w.data(); });
  pointers.push_back(nullptr);
  EXPECT_EQ(posix_spawnp(&process_, "env", &actions, &attributes, pointers.data(), environ), 0);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(outEnds[1]);
  close(errEnds[1]);
}

bool RunningProgram::readSome() {
  std::array<pollfd, 2> ends = {pollfd{out_, POLLIN, 0}, pollfd{err_, POLLIN, 0}};
  poll(ends.data(), ends.size(), 100);
  std::array<char, 4096> bytes{};
  for (size_t k = 0; k < ends.size(); ++k) {
    if (ends[k].revents == 0) {
      continue;
    }
    const ssize_t count = read(ends[k].fd, bytes.data(), bytes.size());
    if (count > 0) {
      (k == 0 ? result_.out : result_.err).append(bytes.data(), static_cast<size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      close(ends[k].fd);
      (k == 0 ? out_ : err_) = -1;  // poll passes over it from now on
    }
  }
  return out_ >= 0 || err_ >= 0;
}

bool RunningProgram::awaitOutput(const std::string& text) {
  while (result_.out.find(text) == std::string::npos) {
    if (!readSome() || beyondLimit()) {
      return false;
    }
  }
  return true;
}

void RunningProgram::signal(int number) {
  if (process_ > 0) {
    kill(process_, number);
  }
}

ProgramResult RunningProgram::finish() {
  if (process_ <= 0) {
    return result_;
  }
  while (readSome()) {
    if (beyondLimit() && !result_.tookTooLong) {
      result_.tookTooLong = true;
      kill(-process_, SIGKILL);
    }
  }
  int status = 0;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  result_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result_.leftProcesses = kill(-process_, 0) == 0;
  if (result_.leftProcesses) {
    kill(-process_, SIGKILL);
  }
  process_ = -1;
  return result_;
}

}  // namespace tarnwick::tests
