// A host for the tests of the ASIO back end: it copies input k to output k and counts what it is told.
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/windows/asio_back_end.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::platform {

class AsioHost {
 public:
  explicit AsioHost(const AsioOptions& options = {}, int32_t driver = 0)
      : driver_(AsioBackEnd(options).loadAsioDriver(tests::kTestAsioNames[driver])) {}
  AudioDriver* operator->() { return driver_.get(); }
  explicit operator bool() const { return driver_ != nullptr; }
  void unload() { driver_.reset(); }

  AsioError create(int32_t blockLength) {
    int32_t inputs = 0;
    int32_t outputs = 0;
    driver_->ASIOGetChannels(inputs, outputs);
    infos.clear();
    for (int32_t k = 0; k < inputs + outputs; ++k) {
      infos.push_back({.isInput = k < inputs, .channelNum = k < inputs ? k : k - inputs});
    }
    inputs_ = static_cast<size_t>(inputs);
    const AsioError result =
        driver_->ASIOCreateBuffers(infos.data(), static_cast<int32_t>(infos.size()), blockLength, callbacks());
    bytes_.assign(infos.size(), 0);
    for (size_t k = 0; result == ASE_OK && k < infos.size(); ++k) {
      AudioChannelInfo info{.channel = infos[k].channelNum, .isInput = infos[k].isInput};
      EXPECT_EQ(driver_->ASIOGetChannelInfo(info), ASE_OK);
      bytes_[k] = static_cast<size_t>(blockLength * BytesPerSample(info.type));
    }
    return result;
  }
  // From a loaded driver to running blocks.
  void run(int32_t blockLength = 64) {
    ASSERT_TRUE(driver_);
    ASSERT_EQ(driver_->ASIOInit({}), ASE_OK);
    ASSERT_EQ(create(blockLength), ASE_OK);
    ASSERT_EQ(driver_->ASIOStart(), ASE_OK);
  }
  AudioCallbacks callbacks() {
    return {.context = this,
            .bufferSwitch = [](void* host, int32_t half, bool) { of(host).process(half); },
            .sampleRateDidChange =
                [](void* host, double rate) {
                  of(host).entered();
                  of(host).rates += 1;
                  of(host).lastRate = rate;
                },
            .asioMessage =
                [](void* host, int32_t selector, int32_t) {
                  of(host).entered();
                  of(host).messages += 1;
                  const bool yes = selector == kAsioSelectorSupported || selector == kAsioResetRequest ||
                                   (selector == 7 && of(host).wantsTime);
                  return selector == kAsioEngineVersion ? 2 : yes ? 1 : 0;
                },
            .bufferSwitchTimeInfo = [](void* host, void* time, int32_t half, bool) -> void* {
              of(host).timed += time != nullptr ? 1 : 0;
              of(host).process(half);
              return nullptr;
            }};
  }
  int64_t heard() const { return blocks + messages + rates; }

  std::vector<AudioBufferInfo> infos;
  std::atomic<int64_t> blocks{0};
  std::atomic<int64_t> timed{0};
  std::atomic<int64_t> rates{0};
  std::atomic<int64_t> messages{0};
  std::atomic<int64_t> badHalves{0};
  std::atomic<int64_t> afterEnd{0};
  std::atomic<double> lastRate{-1.0};
  std::atomic<bool> inside{false};
  std::atomic<bool> ended{false};  // set by a test when nothing may come any more
  bool wantsTime = false;
  bool signalsReady = false;
  bool copies = true;
  DWORD blockMilliseconds = 0;

 private:
  static AsioHost& of(void* context) { return *static_cast<AsioHost*>(context); }
  void entered() { afterEnd += ended ? 1 : 0; }
  void process(int32_t half) {
    entered();
    inside = true;
    blocks += 1;
    if (blockMilliseconds > 0) {
      Sleep(blockMilliseconds);
    }
    if (half != 0 && half != 1) {
      badHalves += 1;
      return;
    }
    for (size_t k = 0; copies && inputs_ + k < infos.size() && k < inputs_; ++k) {
      if (bytes_[k] == bytes_[inputs_ + k]) {
        std::memcpy(infos[inputs_ + k].buffers[half], infos[k].buffers[half], bytes_[k]);
      }
    }
    if (signalsReady) {
      driver_->ASIOOutputReady();
    }
    inside = false;
  }

  std::unique_ptr<AudioDriver> driver_;
  std::vector<size_t> bytes_;
  size_t inputs_ = 0;
};

}  // namespace tarnwick::platform
