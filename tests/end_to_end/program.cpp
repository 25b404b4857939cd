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
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace tarnwick::tests {
namespace {

using std::chrono::steady_clock;

std::vector<std::string> environmentWith(const std::vector<std::string>& settings) {
  std::vector<std::string> all = settings;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string given = *entry;
    const std::string name = given.substr(0, given.find('=') + 1);
    const auto replaces = [&name](const std::string& setting) { return setting.compare(0, name.size(), name) == 0; };
    if (std::none_of(settings.begin(), settings.end(), replaces)) {
      all.push_back(given);
    }
  }
  return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> all;
  for (std::string& text : texts) {
    all.push_back(text.data());
  }
  all.push_back(nullptr);
  return all;
}

bool gives(const std::vector<std::string>& arguments, const std::string& option) {
  return std::any_of(arguments.begin(), arguments.end(), [&option](const std::string& argument) {
    return argument.compare(0, option.size(), option) == 0;
  });
}

std::string newFolder() {
  std::string name = testing::TempDir() + "tarnwick-XXXXXX";
  return mkdtemp(name.data()) != nullptr ? name : std::string();
}

}  // namespace

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

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                               const std::string& program)
    : started_(steady_clock::now()) {
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

  std::vector<std::string> words = {program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> settings = environment;
  if (program == TARNWICK_PROGRAM) {
    folder_ = newFolder();
    settings.push_back("XDG_CONFIG_HOME=" + folder_);
    if (!gives(arguments, "--remote-port")) {
      words.push_back("--remote-port=0");
    }
  }
  std::vector<std::string> variables = environmentWith(settings);
  pid_t process = -1;
  const int fault = posix_spawnp(&process, program.c_str(), &actions, &attributes, pointers(words).data(),
                                 pointers(variables).data());
  EXPECT_EQ(fault, 0) << program << " cannot be started";
  process_ = fault == 0 ? process : -1;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(outEnds[1]);
  close(errEnds[1]);
}

RunningProgram::~RunningProgram() {
  finish();
  if (!folder_.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
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
  result_.lasted = std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - started_);
  result_.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result_.leftProcesses = kill(-process_, 0) == 0;
  if (result_.leftProcesses) {
    kill(-process_, SIGKILL);
  }
  process_ = -1;
  return result_;
}

ProgramResult RunTarnwick(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  return RunningProgram(arguments, environment).finish();
}

}  // namespace tarnwick::tests
