// The buffers that a host had created, and the threads that call it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/audio_driver.h"
#include "platform/clock.h"
#include "sound/virtual/clock_thread.h"
#include "sound/virtual/signal_sources.h"
#include "support/windows/test_asio_device.h"

namespace tarnwick::tests {

class TestAsioSession {
 public:
  TestAsioSession(const TestAsioSettings& settings, int32_t blockLength, const platform::AsioCallbackRecord& callbacks)
      : settings_(settings), blockLength_(blockLength), callbacks_(callbacks) {
    for (const bool input : {true, false}) {
      auto& channels = input ? inputs_ : outputs_;
      channels.resize(static_cast<size_t>(settings_.number(input ? "inputs" : "outputs")));
      for (size_t k = 0; k < channels.size(); ++k) {
        channels[k].type = settings_.sampleType(input, static_cast<int32_t>(k));
        for (auto& half : channels[k].halves) {
          half.resize(static_cast<size_t>(blockLength * platform::BytesPerSample(channels[k].type)));
        }
      }
    }
    seen_.bufferSets += 1;
    // As drivers do: from inside createBuffers.
    seen_.engineVersion = callbacks_.asioMessage(platform::kAsioEngineVersion, 0, nullptr, nullptr);
  }
  TestAsioSession(const TestAsioSession&) = delete;
  TestAsioSession& operator=(const TestAsioSession&) = delete;
  ~TestAsioSession() {
    stop();
    seen_.bufferSets -= 1;
  }

  void giveBuffers(platform::AsioBufferInfo* infos, int32_t count) {
    for (int32_t k = 0; k < count; ++k) {
      Channel& channel = (infos[k].isInput != 0 ? inputs_ : outputs_).at(static_cast<size_t>(infos[k].channel));
      const bool leftOut = settings_.number("null-buffers") != 0 && k == count - 1;
      for (size_t half = 0; half < 2; ++half) {
        infos[k].buffers[half] = leftOut ? nullptr : channel.halves[half].data();
      }
    }
  }
  bool running() const { return running_; }
  void start() {
    running_ = true;
    seen_.threads += 1;
    strayBlocks(settings_.number("blocks-in-start"));
    clock_.start({blockLength_, kRate, [this](int64_t block) { deliver(block); }});
    if (settings_.number("second-thread") != 0) {
      second_ = std::jthread([this](const std::stop_token& ending) {
        while (!ending.stop_requested()) {
          strayBlocks(2);
          notifyAll();
        }
      });
    }
  }
  // Waits for the threads, but for the one that calls after the stop.
  void stop() {
    if (!running_) {
      return;
    }
    running_ = false;
    clock_.stop();
    second_ = {};
    for (const int64_t late : clock_.lateness()) {
      const double seconds = static_cast<double>(late) / static_cast<double>(platform::CounterFrequency());
      seen_.lateBlocks += seconds * kRate > blockLength_ / 2.0 ? 1 : 0;
    }
    // It holds nothing of this session, which may be gone when it calls.
    std::thread([callbacks = callbacks_, count = settings_.number("blocks-after-stop")] {
      for (int32_t k = 0; k < count; ++k) {
        callbacks.bufferSwitch(k % 2, 1);
        callbacks.asioMessage(platform::kAsioLatenciesChanged, 0, nullptr, nullptr);
        callbacks.sampleRateDidChange(12345.0);
        Device().seen.strayBlocks += 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      Device().seen.threads -= 1;
    }).detach();
  }
  // Blocks that are none of the clock's.
  void strayBlocks(int32_t count) {
    for (int32_t k = 0; k < count; ++k) {
      callbacks_.bufferSwitch(k % 2, 1);
      seen_.strayBlocks += 1;
    }
  }
  void notifyAll() {
    for (int32_t selector = 0; selector <= 16; ++selector) {
      callbacks_.asioMessage(selector, selector, nullptr, nullptr);
    }
    callbacks_.sampleRateDidChange(kRate);
    callbacks_.sampleRateDidChange(0.0);
  }

 private:
  static constexpr double kRate = 48000.0;
  struct Channel {
    int32_t type = 0;
    std::vector<uint8_t> halves[2];
  };

  void deliver(int64_t block) {
    const int64_t lateEvery = settings_.number("late-every");
    if (lateEvery > 0 && block % lateEvery == lateEvery - 1) {
      std::this_thread::sleep_for(std::chrono::milliseconds(settings_.number("late-ms")));
    }
    const auto half = static_cast<size_t>(ran_ % 2);
    fillInputs(half);
    if (settings_.number("notify") != 0) {
      notifyAll();
    }
    if (block == settings_.number("rate-change-block")) {
      callbacks_.sampleRateDidChange(settings_.number("new-rate"));
    }
    if (settings_.number("bad-halves") != 0) {
      for (const int32_t bad : {-1, 2, 1000000}) {
        callbacks_.bufferSwitch(bad, 1);
      }
    }
    const int64_t before = platform::CounterNow();
    if (settings_.number("time-info") != 0) {
      platform::AsioTime time = {};
      callbacks_.bufferSwitchTimeInfo(&time, static_cast<int32_t>(half), 1);
    } else {
      callbacks_.bufferSwitch(static_cast<int32_t>(half), 1);
    }
    const int64_t ticks = platform::CounterNow() - before;
    seen_.callbackTicks += ticks;
    seen_.maximumTicks = std::max(seen_.maximumTicks.load(), ticks);
    checkOutputs(half);
    ran_ += 1;
    seen_.blocks += 1;
  }

  // Float: a tone of 0.126 on all. Else bytes that tell channel and position.
  void fillInputs(size_t half) {
    std::vector<float> tone(static_cast<size_t>(blockLength_));
    tone_.render(tone.data(), blockLength_);
    for (size_t k = 0; k < inputs_.size(); ++k) {
      std::vector<uint8_t>& bytes = inputs_[k].halves[half];
      if (inputs_[k].type == platform::kFloat32LSB) {
        std::memcpy(bytes.data(), tone.data(), bytes.size());
        continue;
      }
      for (size_t j = 0; j < bytes.size(); ++j) {
        bytes[j] = static_cast<uint8_t>(static_cast<size_t>(ran_) * 31 + k * 7 + j);
      }
    }
  }
  void checkOutputs(size_t half) {
    bool same = true;
    for (size_t k = 0; k < std::min(inputs_.size(), outputs_.size()); ++k) {
      same = same && inputs_[k].halves[half] == outputs_[k].halves[half];
    }
    seen_.mismatches += same ? 0 : 1;
    for (const Channel& output : outputs_) {
      const auto* samples = reinterpret_cast<const float*>(output.halves[half].data());
      for (int32_t n = 0; output.type == platform::kFloat32LSB && n < blockLength_; ++n) {
        seen_.outputPeak = std::max(seen_.outputPeak.load(), std::abs(samples[n]));
      }
    }
  }

  const TestAsioSettings settings_;
  const int32_t blockLength_;
  const platform::AsioCallbackRecord callbacks_;
  TestAsioStatistics& seen_ = Device().seen;
  std::vector<Channel> inputs_;
  std::vector<Channel> outputs_;
  sound::ToneSource tone_{0, kRate};
  sound::ClockThread clock_{settings_.text("clock") == "fast" ? sound::VirtualClock::fast : sound::VirtualClock::real,
                            false, settings_.number("mute") != 0 ? 0 : settings_.number("blocks")};
  std::jthread second_;
  bool running_ = false;
  int64_t ran_ = 0;  // blocks of all starts
};

}  // namespace tarnwick::tests
