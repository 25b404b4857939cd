// Watches threads for what a real-time thread must not do: this program's own definitions of the C library's
// allocation, lock and wait functions stand before the library's and note calls made by a watched thread.
#pragma once

#include <string>
#include <vector>

namespace tarnwick::tests {

// Watches the calling thread until destroyed.
class WatchThisThread {
 public:
  WatchThisThread();
  ~WatchThisThread();
};

// While true, threads named "twk-worker" are watched too.
void WatchWorkers(bool watch);

// Forbidden calls since the last look, by function name, in order, at most 64; and the mutex locks among them counted
// apart, because the callback may take one.
struct Seen {
  std::vector<std::string> forbidden;
  int mutexLocks = 0;
};
Seen TakeSeen();

}  // namespace tarnwick::tests
