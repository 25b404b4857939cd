// Threads for work that may hang in the system and cannot be ended, such as a look at a disk that has gone.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tarnwick::app {

class HelperThreads {
 public:
  // `time`: how long one piece of work is waited for. `most`: how many helpers there may be at a time, 1 or more, those
  // that hang among them.
  HelperThreads(std::chrono::milliseconds time, int most);
  // Waits for nobody: a helper that hangs keeps what it needs and ends by itself, or with the process.
  ~HelperThreads() = default;

  // Has a helper do `work` and waits for it. False when it took longer or threw, or no helper was to be had: at once
  // when all of them hang. Work that took longer runs on all the same, so it may hold only what it owns. Any thread but
  // the audio path.
  bool run(std::function<void()> work);

 private:
  struct Shared;
  const std::chrono::milliseconds time_;
  const int most_;
  std::shared_ptr<Shared> shared_;
};

// The program's own for looks at disks: four, each waited for two seconds.
HelperThreads& DiskHelpers();

}  // namespace tarnwick::app
