// Processes as /proc shows them. A processor set belongs to a thread here, so a process is limited thread by thread.
#include "platform/processes.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <thread>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/thread_claims.h"
#include "platform/text.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

constexpr size_t kProcessorLimit = 64;
// Looks through the list of threads until one brings no new thread; a process that starts threads faster than this
// keeps a few with the processors of their creators, which have been set by then.
constexpr int kMostPasses = 8;

// The entries of a folder in /proc that are numbers, in ascending order; empty when it has gone.
std::vector<pid_t> numbersIn(const std::string& folder) {
  std::vector<pid_t> numbers;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.c_str()), &closedir);
  while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    pid_t number = 0;
    const auto [end, problem] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (problem == std::errc{} && end == name.data() + name.size()) {
      numbers.push_back(number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::string processFolder(pid_t process) {
  return "/proc/" + std::to_string(process);
}

struct Stat {
  std::string name;
  char state = '?';
  uint64_t flags = 0;
  uint64_t startTicks = 0;  // since the machine's start
};

// The beginning of a file in /proc, enough for a stat file; empty when its process has ended. Not through a stream,
// whose buffer throws when the process ends between opening and reading.
std::string beginningOf(const std::string& path) {
  std::array<char, 2048> bytes{};
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t length = file >= 0 ? read(file, bytes.data(), bytes.size()) : 0;
  if (file >= 0) {
    close(file);
  }
  return std::string(bytes.data(), static_cast<size_t>(std::max(ssize_t{0}, length)));
}

// A stat file of a process or thread; nothing when it has ended.
std::optional<Stat> readStat(const std::string& folder) {
  const std::string text = beginningOf(folder + "/stat");
  // The name stands in parentheses and may itself hold blanks and parentheses.
  const size_t begin = text.find('(');
  const size_t end = text.rfind(')');
  if (begin == std::string::npos || end == std::string::npos || end < begin) {
    return std::nullopt;
  }
  Stat stat;
  stat.name = text.substr(begin + 1, end - begin - 1);
  std::istringstream fields(text.substr(end + 1));
  constexpr int kState = 3;
  constexpr int kFlags = 9;
  constexpr int kStart = 22;
  std::string field;
  for (int number = kState; number <= kStart && fields >> field; ++number) {
    if (number == kState) {
      stat.state = field.front();
    } else if (number == kFlags || number == kStart) {
      uint64_t& value = number == kFlags ? stat.flags : stat.startTicks;
      std::from_chars(field.data(), field.data() + field.size(), value);
    }
  }
  return stat;
}

std::string executableOf(const std::string& folder) {
  std::array<char, 4096> path{};
  const ssize_t length = readlink((folder + "/exe").c_str(), path.data(), path.size());
  if (length <= 0) {
    return {};
  }
  std::string name(path.data(), static_cast<size_t>(length));
  name.erase(0, name.rfind('/') + 1);
  constexpr std::string_view kReplaced = " (deleted)";  // what the kernel adds when the file was replaced meanwhile
  if (name.ends_with(kReplaced)) {
    name.resize(name.size() - kReplaced.size());
  }
  return name;
}

std::vector<ProcessEntry> list() {
  constexpr uint64_t kKernelThread = 0x00200000;  // PF_KTHREAD
  std::vector<ProcessEntry> entries;
  for (const pid_t process : numbersIn("/proc")) {
    const std::string folder = processFolder(process);
    const std::optional<Stat> stat = readStat(folder);
    if (!stat || (stat->flags & kKernelThread) != 0 || stat->state == 'Z' || stat->state == 'X') {
      continue;
    }
    const std::string executable = executableOf(folder);
    entries.push_back({static_cast<uint32_t>(process), WideFromUtf8(executable.empty() ? stat->name : executable)});
  }
  return entries;
}

// The processors that run now, of the first 64.
uint64_t onlineMask() {
  std::ifstream file("/sys/devices/system/cpu/online");
  uint64_t mask = 0;
  std::string range;  // "0-3,6"
  while (std::getline(file, range, ',')) {
    size_t first = 0;
    const char* end = range.data() + range.size();
    const auto [dash, problem] = std::from_chars(range.data(), end, first);
    size_t last = first;
    if (problem != std::errc{}) {
      continue;
    }
    if (dash != end && *dash == '-') {
      std::from_chars(dash + 1, end, last);
    }
    for (size_t k = first; k <= last && k < kProcessorLimit; ++k) {
      mask |= uint64_t{1} << k;
    }
  }
  return mask != 0 ? mask : SystemAffinityMask();
}

std::optional<uint64_t> maskOfThread(pid_t thread) {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(thread, sizeof set, &set) != 0) {
    return std::nullopt;
  }
  uint64_t mask = 0;
  for (size_t k = 0; k < kProcessorLimit; ++k) {
    mask |= CPU_ISSET(k, &set) ? uint64_t{1} << k : 0;
  }
  return mask;
}

cpu_set_t setOf(uint64_t mask, uint64_t online) {
  const bool all = (mask & online) == online;
  cpu_set_t set;
  CPU_ZERO(&set);
  for (size_t k = 0; k < CPU_SETSIZE; ++k) {
    if (k < kProcessorLimit ? ((mask >> k) & 1) != 0 : all) {
      CPU_SET(k, &set);
    }
  }
  return set;
}

// Calls `change` for every thread of a process once, also for those that begin meanwhile, until it answers false. A
// thread that is just being started has its creator's processors already but is not listed yet, so it takes two quiet
// looks with a pause between them to be done.
template <class Change>
void forEachThread(const std::string& folder, Change change) {
  constexpr int kQuietPasses = 2;
  constexpr auto kPause = std::chrono::milliseconds(1);
  std::vector<pid_t> seen;
  for (int pass = 0, quiet = 0; pass < kMostPasses && quiet < kQuietPasses; ++pass) {
    const std::vector<pid_t> now = numbersIn(folder + "/task");
    if (now.empty()) {
      return;
    }
    std::vector<pid_t> fresh;
    std::set_difference(now.begin(), now.end(), seen.begin(), seen.end(), std::back_inserter(fresh));
    for (const pid_t thread : fresh) {
      if (!change(thread)) {
        return;
      }
    }
    quiet = fresh.empty() ? quiet + 1 : 0;
    if (quiet == 1) {
      std::this_thread::sleep_for(kPause);
    }
    seen = now;
  }
}

ProcessAffinity readAffinity(uint32_t id) {
  const std::optional<uint64_t> mask = id == 0 ? std::nullopt : maskOfThread(static_cast<pid_t>(id));
  return mask ? ProcessAffinity{*mask, onlineMask()} : ProcessAffinity{};
}

AffinityOutcome changeAffinity(uint32_t id, const AffinityChoice& choose) {
  // The open folder stays this process's: it is empty once the process has ended, whoever has its number then.
  const FileDescriptor folder(open(processFolder(static_cast<pid_t>(id)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (id == 0 || !folder.valid()) {  // 0 would mean the calling thread
    return AffinityOutcome::denied;
  }
  const uint64_t mask = choose(readAffinity(id));
  if (mask == 0) {
    return AffinityOutcome::left;
  }
  const cpu_set_t set = setOf(mask, onlineMask());
  bool any = false;
  int problem = 0;
  forEachThread("/proc/self/fd/" + std::to_string(folder.get()), [&](pid_t thread) {
    if (sched_setaffinity(thread, sizeof set, &set) == 0) {
      any = true;
    } else if (errno != ESRCH) {  // a thread that has ended is no trouble
      problem = errno;
    }
    return problem != EPERM;
  });
  if (problem == EPERM || (problem == 0 && !any)) {
    return AffinityOutcome::denied;
  }
  return problem == 0 ? AffinityOutcome::set : AffinityOutcome::failed;
}

// Milliseconds after the machine's start at which a thread of ours began.
std::optional<uint64_t> startOfOwnThread(pid_t thread) {
  static const auto ticksPerSecond = static_cast<uint64_t>(std::max(1L, sysconf(_SC_CLK_TCK)));
  const std::optional<Stat> stat = readStat("/proc/self/task/" + std::to_string(thread));
  return stat ? std::optional(stat->startTicks * 1000 / ticksPerSecond) : std::nullopt;
}

// Limits one thread of ours, unless it has chosen for itself; see ThreadClaims for the repair.
bool limitUnclaimed(pid_t thread, const cpu_set_t& set, uint64_t online) {
  if (threadClaims.maskOf(thread)) {
    return true;
  }
  const bool done = sched_setaffinity(thread, sizeof set, &set) == 0 || errno == ESRCH;
  std::optional<uint64_t> claimed = threadClaims.maskOf(thread);
  while (claimed) {
    const cpu_set_t own = setOf(*claimed, online);
    sched_setaffinity(thread, sizeof own, &own);
    const std::optional<uint64_t> again = threadClaims.maskOf(thread);
    if (again == claimed) {
      return true;
    }
    claimed = again;
  }
  return done;
}

bool setOwnAffinity(uint64_t mask) {
  SystemAffinityMask();  // reads what the first thread had, if nobody has asked before
  threadClaims.prune(&startOfOwnThread);
  const uint64_t online = onlineMask();
  const cpu_set_t set = setOf(mask, online);
  bool done = true;
  forEachThread("/proc/self", [&](pid_t thread) {
    done = limitUnclaimed(thread, set, online) && done;
    return true;
  });
  return done;
}

void limitNewThreads(uint64_t mask) {
  threadClaims.prune(&startOfOwnThread);
  const uint64_t online = onlineMask();
  const cpu_set_t set = setOf(mask, online);
  const std::optional<uint64_t> creators = maskOfThread(0);
  for (const pid_t thread : numbersIn("/proc/self/task")) {
    if (thread != gettid() && creators && maskOfThread(thread) == creators && (*creators & online) != (mask & online)) {
      limitUnclaimed(thread, set, online);
    }
  }
}

}  // namespace

Processes SystemProcesses() {
  Processes processes;
  processes.list = &list;
  processes.ownId = [] { return static_cast<uint32_t>(getpid()); };
  processes.ownExecutable = [] { return WideFromUtf8(executableOf("/proc/self")); };
  processes.readAffinity = &readAffinity;
  processes.changeAffinity = &changeAffinity;
  processes.setOwnAffinity = &setOwnAffinity;
  processes.limitNewThreads = &limitNewThreads;
  processes.setOwnClass = [](ProcessClass) { return false; };
  processes.setUiThreadLevel = [](int32_t) { return int32_t{0}; };
  return processes;
}

}  // namespace tarnwick::platform
