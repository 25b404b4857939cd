// Processor sets of threads as the kernel shows them in /proc, not as the code under test would read them.
#pragma once

#include <dirent.h>
#include <sys/resource.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::tests {

struct ThreadMask {
  int id = 0;
  std::string name;
  uint64_t mask = 0;
  int nice = 0;
};

// All threads of a process ("self" or a number) that run now.
inline std::vector<ThreadMask> ThreadMasks(const std::string& process) {
  std::vector<ThreadMask> threads;
  const std::string folder = "/proc/" + process + "/task";
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.c_str()), &closedir);
  while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
    std::ifstream status(folder + "/" + entry->d_name + "/status");
    ThreadMask thread;
    thread.id = std::atoi(entry->d_name);
    constexpr std::string_view kName = "Name:\t";
    constexpr std::string_view kAllowed = "Cpus_allowed:\t";
    bool complete = false;
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(kName)) {
        thread.name = line.substr(kName.size());
      } else if (line.starts_with(kAllowed)) {
        // Words of 32 bits, the highest first, with commas between.
        for (const char digit : line.substr(kAllowed.size())) {
          thread.mask = digit == ',' ? thread.mask : thread.mask << 4 | std::stoul(std::string(1, digit), nullptr, 16);
        }
        complete = true;
      }
    }
    if (complete && entry->d_name[0] != '.') {
      thread.nice = getpriority(PRIO_PROCESS, static_cast<id_t>(std::stoul(entry->d_name)));
      threads.push_back(thread);
    }
  }
  return threads;
}

// The answer of `of` for each of a process's threads of one name.
template <class Of>
auto OfThreadsNamed(std::string_view name, Of of, const std::string& process = "self") {
  std::vector<decltype(of(ThreadMask()))> values;
  for (const ThreadMask& thread : ThreadMasks(process)) {
    if (thread.name == name) {
      values.push_back(of(thread));
    }
  }
  return values;
}
inline std::vector<uint64_t> MasksOfThreadsNamed(std::string_view name, const std::string& process = "self") {
  return OfThreadsNamed(
      name, [](const ThreadMask& thread) { return thread.mask; }, process);
}
inline std::vector<int> NicesOfThreadsNamed(std::string_view name) {
  return OfThreadsNamed(name, [](const ThreadMask& thread) { return thread.nice; });
}

}  // namespace tarnwick::tests
