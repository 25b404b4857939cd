#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <thread>

#include "platform/linux/file_descriptor.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kMostOutput = size_t{64} << 10;

struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
};

std::optional<Pipe> makePipe() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// The program gets its processors and its priority from the thread that starts it.
void becomeOrdinary() {
  const sched_param none{};
  sched_setscheduler(0, SCHED_OTHER, &none);
  SetThreadPriorityLevel(0);
  SetThreadAffinity(SystemAffinityMask());
}

// A process group of its own, so that what it starts can be ended with it.
std::optional<pid_t> spawn(const std::vector<std::string>& arguments, int output) {
  std::vector<std::string> texts{"tarnwick"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);

  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  pid_t process = 0;
  // By this name also when the file was replaced since the program started.
  const int problem = posix_spawn(&process, "/proc/self/exe", &files, &attributes, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return problem == 0 ? std::optional(process) : std::nullopt;
}

std::optional<pid_t> spawnOrdinary(const std::vector<std::string>& arguments, int output) {
  std::optional<pid_t> process;
  std::thread([&] {
    becomeOrdinary();
    process = spawn(arguments, output);
  }).join();
  return process;
}

// Readable once the process has ended. By its number: the library's header lacks C linkage in some versions.
FileDescriptor watch(pid_t process) {
  return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

// Takes what the pipe has, keeps its beginning. False at its end.
bool takeOutput(int readEnd, std::string& output) {
  std::array<char, 4096> piece{};
  const ssize_t got = read(readEnd, piece.data(), piece.size());
  if (got <= 0) {
    return got < 0 && (errno == EINTR || errno == EAGAIN);
  }
  output.append(piece.data(), std::min(static_cast<size_t>(got), kMostOutput - output.size()));
  return true;
}

// Collects the output until the program has ended; false when `end` comes first. What it has started itself may keep
// the pipe open for longer.
bool collect(int process, FileDescriptor& readEnd, Clock::time_point end, const std::atomic<bool>* cancelled,
             std::string& output) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0 || (cancelled != nullptr && cancelled->load())) {
      return false;
    }
    pollfd entries[] = {{readEnd.get(), POLLIN, 0}, {process, POLLIN, 0}};
    const auto slice = std::min<int64_t>(left.count(), 100);
    if (poll(entries, 2, static_cast<int>(slice)) < 0 && errno != EINTR) {
      return false;
    }
    if (entries[0].revents != 0 && !takeOutput(readEnd.get(), output)) {
      readEnd.close();
    } else if (entries[0].revents == 0 && entries[1].revents != 0) {
      return true;
    }
  }
}

std::optional<int> codeOf(pid_t process) {
  int status = 0;
  pid_t ended = -1;
  do {
    ended = waitpid(process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended != process) {
    return std::nullopt;
  }
  constexpr int kSignal = 128;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignal + WTERMSIG(status);
}

}  // namespace

std::optional<ChildAnswer> RunOwnProgram(const std::vector<std::string>& arguments, std::chrono::milliseconds time,
                                         const std::atomic<bool>* cancelled) try {
  const Clock::time_point end = Clock::now() + std::min<std::chrono::milliseconds>(time, std::chrono::hours(24));
  std::optional<Pipe> pipe = makePipe();
  const std::optional<pid_t> process = pipe ? spawnOrdinary(arguments, pipe->writeEnd.get()) : std::nullopt;
  if (!process) {
    return std::nullopt;
  }
  pipe->writeEnd.close();
  ChildAnswer answer;
  const FileDescriptor running = watch(*process);
  const bool inTime = running.valid() && collect(running.get(), pipe->readEnd, end, cancelled, answer.output);
  if (!inTime) {
    kill(-*process, SIGKILL);
  }
  const std::optional<int> code = codeOf(*process);
  if (!inTime || !code) {
    return std::nullopt;
  }
  answer.exitCode = *code;
  return answer;
} catch (const std::exception&) {  // no memory or no thread left
  return std::nullopt;
}

}  // namespace tarnwick::platform
