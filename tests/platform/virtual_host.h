// A host for the tests of the virtual device.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "platform/virtual/virtual_driver.h"
#include "support/eventually.h"

namespace tarnwick::platform {

using tests::Eventually;

inline constexpr int32_t kBlock = 64;

inline VirtualOptions FastOptions(int64_t blocks) {
  VirtualOptions options;
  options.inputs = 4;
  options.outputs = 4;
  options.clock = VirtualClock::fast;
  options.blockLimit = blocks;
  return options;
}

// A host that copies input k to output k and checks what it is told.
class Host {
 public:
  explicit Host(VirtualDevice& device) : driver_(device.backEnd().loadAsioDriver(kVirtualDriverName)) {}
  AudioDriver* operator->() { return driver_.get(); }

  AsioError init(double rate = 48000.0) { return driver_->ASIOInit({.sampleRate = rate}); }
  AsioError create(int32_t blockLength = kBlock) {
    int32_t inputs = 0;
    int32_t outputs = 0;
    driver_->ASIOGetChannels(inputs, outputs);
    std::vector<AudioBufferInfo> infos;
    for (int32_t k = 0; k < inputs + outputs; ++k) {
      infos.push_back({.isInput = k < inputs, .channelNum = k < inputs ? k : k - inputs});
    }
    const AudioCallbacks callbacks{.context = this,
                                   .bufferSwitch = [](void* host, int32_t half, bool) { of(host).process(half); },
                                   .sampleRateDidChange = [](void* host, double rate) { of(host).rateChanged(rate); }};
    const AsioError result =
        driver_->ASIOCreateBuffers(infos.data(), static_cast<int32_t>(infos.size()), blockLength, callbacks);
    if (result == ASE_OK) {
      AudioChannelInfo info;
      driver_->ASIOGetChannelInfo(info);
      bytes_ = static_cast<size_t>(blockLength * BytesPerSample(info.type));
      inputs_ = static_cast<size_t>(inputs);
      infos_ = infos;
    }
    return result;
  }
  // From loading to a started clock.
  void run(double rate = 48000.0) {
    ASSERT_EQ(init(rate), ASE_OK);
    ASSERT_EQ(create(), ASE_OK);
    ASSERT_EQ(driver_->ASIOStart(), ASE_OK);
  }

  std::function<void(int64_t)> onBlock = [](int64_t) {};  // called with the number of blocks before this one
  std::atomic<int64_t> calls{0};
  std::atomic<bool> inside{false};
  std::atomic<int64_t> wrongHalves{0};
  int64_t rateChangedBefore = -1;
  double newRate = 0.0;

 private:
  static Host& of(void* context) { return *static_cast<Host*>(context); }
  void process(int32_t half) {
    inside = true;
    const int64_t call = calls;
    wrongHalves += half != call % 2;
    for (size_t k = 0; inputs_ + k < infos_.size() && k < inputs_; ++k) {
      std::memcpy(infos_[inputs_ + k].buffers[half], infos_[k].buffers[half], bytes_);
    }
    onBlock(call);
    calls = call + 1;
    inside = false;
  }
  void rateChanged(double rate) {
    rateChangedBefore = calls;
    newRate = rate;
  }

  std::unique_ptr<AudioDriver> driver_;
  std::vector<AudioBufferInfo> infos_;
  size_t inputs_ = 0;
  size_t bytes_ = 0;
};

}  // namespace tarnwick::platform
