// One of the test driver's two devices: its words and its counts, shared by all of its driver objects.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "support/windows/test_asio_control.h"
#include "support/windows/test_asio_settings.h"

namespace tarnwick::tests {

struct TestAsioDevice {
  explicit TestAsioDevice(const char* environmentName);

  std::mutex mutex;
  TestAsioSettings settings;  // under the mutex

  std::atomic<int32_t> objects{0}, bufferSets{0}, threads{0};
  std::atomic<int32_t> created{0}, wrongThread{0}, wrongOrder{0}, panels{0}, outputReadies{0};
  std::atomic<int32_t> engineVersion{0}, timeInfo{0}, resetAnswer{0};
  std::atomic<int64_t> blocks{0}, timedBlocks{0}, strayBlocks{0}, mismatches{0}, lateBlocks{0};
  std::atomic<int64_t> callbackTicks{0}, maximumTicks{0};
  std::atomic<double> outputPeak{0.0};
  std::atomic<void*> window{nullptr};

  bool configure(const char* words);
  TestAsioSettings current();
  TestAsioStatistics statistics() const;
  void reset();
  // Writes the statistics as a JSON object; does nothing without a file name.
  void report(const std::string& file) const;
};

// Device 0 or 1.
TestAsioDevice& DeviceOf(int32_t driver);

}  // namespace tarnwick::tests
