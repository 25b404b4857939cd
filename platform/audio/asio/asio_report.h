// Tells what a running driver has told of itself: a thread of its own looks at the count of overloads, so that the
// driver's threads never wait for a log.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace tarnwick::platform {

class AsioReport {
 public:
  // `xruns` may be empty. May throw std::system_error. User-interface thread, as is the end.
  explicit AsioReport(std::function<void(uint64_t total)> xruns);
  AsioReport(const AsioReport&) = delete;
  AsioReport& operator=(const AsioReport&) = delete;
  // Returns when the last total is told and no hook runs.
  ~AsioReport();

 private:
  void run();

  const std::function<void(uint64_t total)> xruns_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;  // under the mutex
  std::thread thread_;
};

}  // namespace tarnwick::platform
