// The buffers that a host had created, and the threads that call it.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

#include "platform/windows/asio_interface.h"
#include "support/windows/test_asio_device.h"

namespace tarnwick::tests {

class TestAsioSession {
 public:
  TestAsioSession(TestAsioDevice& device, const TestAsioSettings& settings, int32_t blockLength,
                  const platform::AsioCallbackRecord& callbacks);
  TestAsioSession(const TestAsioSession&) = delete;
  TestAsioSession& operator=(const TestAsioSession&) = delete;
  ~TestAsioSession();

  void giveBuffers(platform::AsioBufferInfo* infos, int32_t count);
  int32_t blockLength() const { return blockLength_; }
  bool running() const { return clock_.joinable(); }
  void start();
  // Waits for the threads, but for the one that calls after the stop.
  void stop();
  // Blocks that are none of the clock's.
  void strayBlocks(int32_t count);
  void notifyAll();

 private:
  struct Channel {
    int32_t type = 0;
    std::vector<uint8_t> halves[2];
  };
  void runClock();
  void runSecondThread();
  void deliver(int64_t block);
  void fillInputs(int64_t block, size_t half);
  void checkOutputs(size_t half);
  std::vector<Channel> makeChannels(int32_t count, bool inputs) const;

  TestAsioDevice& device_;
  const TestAsioSettings settings_;
  const int32_t blockLength_;
  const platform::AsioCallbackRecord callbacks_;
  bool sendsTime_ = false;
  std::vector<Channel> inputs_;
  std::vector<Channel> outputs_;
  std::vector<double> tone_;  // of the present block
  std::thread clock_;
  std::thread second_;
  std::atomic<bool> stopping_{false};
  int64_t ran_ = 0;  // blocks of all starts
};

}  // namespace tarnwick::tests
