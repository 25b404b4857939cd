// A host of the test effect on a fake device, and the driver's own thread.
#pragma once

#include <gtest/gtest.h>

#include <thread>

#include "support/engine_rig.h"
#include "support/eventually.h"
#include "support/test_modules.h"

namespace tarnwick::tests {

// Instance i goes from input i to output i.
struct HostRig : EngineRig {
  engine::Host host{engine, user.ui()};

  explicit HostRig(int32_t instances, int32_t channels) {
    device.inputs = device.outputs = channels;
    host.pluginPath = L"  " + TestModule("gain") + L" \n";
    for (int32_t i = 0; i < instances; ++i) {
      host.rows.emplace_back().config = {i, i};
    }
  }
  ~HostRig() { stop(); }

  // The text of a refusal, "" when the host started.
  std::wstring start() {
    std::wstring error;
    return engine::StartHost(host, &error, true) ? L"" : error;
  }
  void stop() {
    if (engine.hostRunning && !engine.hostStopping) {
      const int before = user.stopsFinished;
      engine::StopHostAsync(host);
      EXPECT_TRUE(Eventually([&] { return user.stopsFinished > before; }, std::chrono::seconds(30)));
      engine::CompleteHostStop(host);
    }
  }
};

// Runs blocks until it ends, with a breath after every `breath` of them so that the machine's other threads run.
class DriverThread {
 public:
  explicit DriverThread(FakeDevice& device, uint64_t breath = 16)
      : thread_([this, &device, breath] {
          platform::SetThreadName("twk-test-audio");
          while (!end_) {
            device.runBlock();
            if (blocks_.fetch_add(1) % breath == 0) {
              std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
          }
        }) {}
  ~DriverThread() {
    end_ = true;
    thread_.join();
  }
  void awaitBlocks(uint64_t count) const {
    const uint64_t target = blocks_ + count;
    while (blocks_ < target) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  }

 private:
  std::atomic<bool> end_{false};
  std::atomic<uint64_t> blocks_{0};
  std::thread thread_;
};

}  // namespace tarnwick::tests
