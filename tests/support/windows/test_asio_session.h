// The buffers that a host had created, and the threads that call it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <thread>
#include <vector>

#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/audio_driver.h"
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
        const int32_t type = settings_.sampleType(input, static_cast<int32_t>(k));
        for (auto& half : channels[k].halves) {
          half.resize(static_cast<size_t>(blockLength * platform::BytesPerSample(type)));
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
  bool running() const { return clock_.joinable(); }
  void start() {
    stopping_ = false;
    strayBlocks(settings_.number("blocks-in-start"));
    clock_ = std::thread([this] { runClock(); });
    if (settings_.number("second-thread") != 0) {
      second_ = std::thread([this] { runSecondThread(); });
    }
  }
  // Waits for the threads, but for the one that calls after the stop.
  void stop() {
    if (!clock_.joinable()) {
      return;
    }
    stopping_ = true;
    clock_.join();
    if (second_.joinable()) {
      second_.join();
    }
    if (const int32_t count = settings_.number("blocks-after-stop"); count > 0) {
      // It holds nothing of this session, which may be gone when it calls. It counts from here on: a test that waits
      // for the driver's threads to end must not look before it has begun.
      const auto counted = std::make_shared<const CountedThread>();
      std::thread([callbacks = callbacks_, count, counted] {
        for (int32_t k = 0; k < count; ++k) {
          callbacks.bufferSwitch(k % 2, 1);
          callbacks.asioMessage(platform::kAsioLatenciesChanged, 0, nullptr, nullptr);
          callbacks.sampleRateDidChange(12345.0);
          Device().seen.strayBlocks += 1;
          std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
      }).detach();
    }
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
    std::vector<uint8_t> halves[2];
  };
  struct CountedThread {
    CountedThread() { Device().seen.threads += 1; }
    CountedThread(const CountedThread&) = delete;
    CountedThread& operator=(const CountedThread&) = delete;
    ~CountedThread() { Device().seen.threads -= 1; }
  };

  static int64_t now100ns() {
    LARGE_INTEGER count;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return count.QuadPart / frequency.QuadPart * 10000000 +
           count.QuadPart % frequency.QuadPart * 10000000 / frequency.QuadPart;
  }
  // The one wait that is not rounded to milliseconds.
  static void waitUntil(int64_t due) {
    using Delay = LONG(WINAPI*)(BOOLEAN, LARGE_INTEGER*);
    static const auto delay = reinterpret_cast<Delay>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtDelayExecution")));
    const int64_t left = due - now100ns();
    if (left > 0) {
      LARGE_INTEGER interval;
      interval.QuadPart = -left;
      delay(FALSE, &interval);
    }
  }

  void runSecondThread() {
    const CountedThread counted;
    while (!stopping_) {
      strayBlocks(2);
      notifyAll();
    }
  }
  void runClock() {
    const CountedThread counted;
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
    const double period = 1e7 * blockLength_ / kRate;
    const int64_t lateEvery = settings_.number("late-every");
    const int64_t begin = now100ns();
    const int64_t end = settings_.number("mute") != 0 ? 0 : settings_.number("blocks");
    for (int64_t block = 0; !stopping_ && block != end; ++block) {
      if (settings_.text("clock") == "real") {
        const int64_t due = begin + static_cast<int64_t>(static_cast<double>(block + 1) * period);
        waitUntil(due);
        if (lateEvery > 0 && block % lateEvery == lateEvery - 1) {
          waitUntil(now100ns() + settings_.number("late-ms") * 10000LL);
        }
        seen_.lateBlocks += now100ns() - due > static_cast<int64_t>(period / 2) ? 1 : 0;
      }
      deliver(block);
    }
  }

  void deliver(int64_t block) {
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
    const bool timed = settings_.number("time-info") != 0;
    const int64_t before = now100ns();
    if (timed) {
      platform::AsioTime time = {};
      callbacks_.bufferSwitchTimeInfo(&time, static_cast<int32_t>(half), 1);
    } else {
      callbacks_.bufferSwitch(static_cast<int32_t>(half), 1);
    }
    const int64_t ticks = now100ns() - before;
    seen_.callbackTicks += ticks;
    seen_.maximumTicks = std::max(seen_.maximumTicks.load(), ticks);
    checkOutputs(half);
    ran_ += 1;
    seen_.blocks += 1;
  }

  void fillInputs(size_t half) {
    for (size_t k = 0; k < inputs_.size(); ++k) {
      std::vector<uint8_t>& bytes = inputs_[k].halves[half];
      for (size_t j = 0; !tone_ && j < bytes.size(); ++j) {
        bytes[j] = static_cast<uint8_t>(static_cast<size_t>(ran_) * 31 + k * 7 + j);
      }
      if (tone_ && k > 0) {
        std::copy(inputs_[0].halves[half].begin(), inputs_[0].halves[half].end(), bytes.begin());
        continue;
      }
      for (int32_t n = 0; tone_ && n < blockLength_; ++n) {
        const double time = static_cast<double>(ran_ * blockLength_ + n) / kRate;
        const auto value = static_cast<float>(0.25 * std::sin(2.0 * std::numbers::pi * 440.0 * time));
        std::memcpy(bytes.data() + static_cast<size_t>(n) * sizeof value, &value, sizeof value);
      }
    }
  }
  void checkOutputs(size_t half) {
    bool same = true;
    for (size_t k = 0; k < std::min(inputs_.size(), outputs_.size()); ++k) {
      same = same && inputs_[k].halves[half] == outputs_[k].halves[half];
    }
    seen_.mismatches += same ? 0 : 1;
    for (size_t k = 0; tone_ && k < outputs_.size(); ++k) {
      for (int32_t n = 0; n < blockLength_; ++n) {
        float value = 0.0f;
        std::memcpy(&value, outputs_[k].halves[half].data() + static_cast<size_t>(n) * sizeof value, sizeof value);
        seen_.outputPeak = std::max(seen_.outputPeak.load(), std::abs(value));
      }
    }
  }

  const TestAsioSettings settings_;
  const bool tone_ = settings_.text("signal") == "tone";
  const int32_t blockLength_;
  const platform::AsioCallbackRecord callbacks_;
  TestAsioStatistics& seen_ = Device().seen;
  std::vector<Channel> inputs_;
  std::vector<Channel> outputs_;
  std::thread clock_;
  std::thread second_;
  std::atomic<bool> stopping_{false};
  int64_t ran_ = 0;  // blocks of all starts
};

}  // namespace tarnwick::tests
