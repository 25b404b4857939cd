// A host for the tests of the back ends: it plays what it hears, block for block, and keeps what it is told.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/audio/audio_back_ends.h"
#include "support/eventually.h"

namespace tarnwick::platform {

class DeviceHost {
 public:
  using Make = std::function<AudioBackEnd(const BackEndHooks& hooks)>;

  DeviceHost(const Make& make, const std::wstring& device)
      : backEnd_(make({.log = [this](const std::wstring& line) { keep(lines_, line); },
                       .deviceLost = [this](const std::wstring& reason) { keep(losses_, reason); },
                       .waiting = {},
                       .xruns = [this](uint64_t total) { xruns = total; }})),
        driver_(backEnd_.loadAsioDriver(device)) {}
  DeviceHost(const DeviceHost&) = delete;
  DeviceHost& operator=(const DeviceHost&) = delete;

  explicit operator bool() const { return driver_ != nullptr; }
  AudioDriver* operator->() { return driver_.get(); }
  void unload() { driver_.reset(); }

  // With all channels. 0: the block length that the device prefers.
  AsioError create(int32_t blockLength = 0) {
    int32_t inputs = 0;
    int32_t outputs = 0;
    driver_->ASIOGetChannels(inputs, outputs);
    if (blockLength == 0) {
      int32_t ignored = 0;
      driver_->ASIOGetBufferSize(ignored, ignored, blockLength, ignored);
    }
    std::vector<AudioBufferInfo> asked;
    for (int32_t k = 0; k < inputs + outputs; ++k) {
      asked.push_back({.isInput = k < inputs, .channelNum = k < inputs ? k : k - inputs});
    }
    const AsioError result =
        driver_->ASIOCreateBuffers(asked.data(), static_cast<int32_t>(asked.size()), blockLength, callbacks());
    if (result == ASE_OK) {
      block = blockLength;
      inputs_ = static_cast<size_t>(inputs);
      infos_.swap(asked);  // the driver goes on with this memory
      AudioChannelInfo info{.isInput = inputs > 0};
      driver_->ASIOGetChannelInfo(info);
      bytes_ = static_cast<size_t>(blockLength * BytesPerSample(info.type));
    }
    return result;
  }
  // From a loaded driver to blocks.
  void run(int32_t blockLength = 0, double sampleRate = 48000.0) {
    ASSERT_TRUE(driver_);
    ASSERT_EQ(driver_->ASIOInit({.sampleRate = sampleRate}), ASE_OK);
    ASSERT_EQ(create(blockLength), ASE_OK);
    blocks = 0;
    ASSERT_EQ(driver_->ASIOStart(), ASE_OK);
  }
  bool awaitBlocks(int64_t count = 3) const {
    const int64_t before = blocks;
    return tests::Eventually([&] { return blocks >= before + count; });
  }
  void close() {
    EXPECT_EQ(driver_->ASIOStop(), ASE_OK);
    EXPECT_EQ(driver_->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(driver_->ASIOExit(), ASE_OK);
  }

  float* input(size_t channel, int32_t half) { return static_cast<float*>(infos_[channel].buffers[half]); }
  float* output(size_t channel, int32_t half) { return static_cast<float*>(infos_[inputs_ + channel].buffers[half]); }
  std::vector<std::wstring> devices() const { return backEnd_.asioGetDriverNames(); }
  // Copies of what was told so far.
  std::vector<std::wstring> lines() { return copy(lines_); }
  std::vector<std::wstring> losses() { return copy(losses_); }
  AudioCallbacks callbacks() {
    return {.context = this,
            .bufferSwitch = [](void* host, int32_t half, bool) { return of(host).process(half); },
            .sampleRateDidChange =
                [](void* host, double told) {
                  of(host).callsAfterEnd += of(host).ended ? 1 : 0;
                  of(host).rates += 1;
                  of(host).rate = told;
                },
            .asioMessage =
                [](void* host, int32_t selector, int32_t) {
                  of(host).callsAfterEnd += of(host).ended ? 1 : 0;
                  of(host).messages += 1;
                  return selector == kAsioEngineVersion ? 2 : 0;
                },
            .bufferSwitchTimeInfo = [](void* host, void*, int32_t half, bool) -> void* {
              of(host).process(half);
              return nullptr;
            }};
  }

  std::function<void(int32_t half, int64_t block)> onBlock;  // in place of the copying
  std::chrono::milliseconds pause{0};                        // in every block
  bool signalsReady = false;
  std::atomic<bool> letsPass{false};    // tells the driver that it has written nothing
  std::atomic<int64_t> blocks{0};       // since the start
  std::atomic<int64_t> wrongHalves{0};  // not in turn
  std::atomic<int64_t> badHalves{0};    // no half at all
  std::atomic<int64_t> rates{0};
  std::atomic<double> rate{0.0};
  std::atomic<int64_t> messages{0};
  std::atomic<uint64_t> xruns{0};
  std::atomic<bool> ended{false};  // set by a test when nothing may come any more
  std::atomic<int64_t> callsAfterEnd{0};
  int32_t block = 0;

 private:
  static DeviceHost& of(void* context) { return *static_cast<DeviceHost*>(context); }
  bool process(int32_t half) {
    callsAfterEnd += ended ? 1 : 0;
    if (half != 0 && half != 1) {
      badHalves += 1;
      return true;
    }
    wrongHalves += half != blocks % 2 ? 1 : 0;
    if (onBlock) {
      onBlock(half, blocks);
    } else {
      for (size_t k = 0; k < std::min(inputs_, infos_.size() - inputs_); ++k) {
        std::memcpy(output(k, half), input(k, half), bytes_);
      }
    }
    std::this_thread::sleep_for(pause);
    if (signalsReady) {
      driver_->ASIOOutputReady();
    }
    blocks += 1;
    return !letsPass;
  }
  void keep(std::vector<std::wstring>& where, const std::wstring& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    where.push_back(text);
  }
  std::vector<std::wstring> copy(const std::vector<std::wstring>& from) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return from;
  }

  std::mutex mutex_;
  std::vector<std::wstring> lines_;
  std::vector<std::wstring> losses_;
  const AudioBackEnd backEnd_;
  std::vector<AudioBufferInfo> infos_;
  size_t inputs_ = 0;
  size_t bytes_ = 0;
  std::unique_ptr<AudioDriver> driver_;  // goes first: until then it calls
};

}  // namespace tarnwick::platform
