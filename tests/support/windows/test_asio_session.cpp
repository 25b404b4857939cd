#include "support/windows/test_asio_session.h"

#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>

#include "support/windows/test_asio_samples.h"

namespace tarnwick::tests {
namespace {

using platform::AsioTime;

int64_t now100ns() {
  LARGE_INTEGER count;
  LARGE_INTEGER frequency;
  QueryPerformanceCounter(&count);
  QueryPerformanceFrequency(&frequency);
  return count.QuadPart / frequency.QuadPart * 10000000 +
         count.QuadPart % frequency.QuadPart * 10000000 / frequency.QuadPart;
}

// The one wait that is not rounded to milliseconds.
void waitUntil(int64_t due) {
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

struct CountedThread {
  explicit CountedThread(TestAsioDevice& device) : threads(device.threads) { threads += 1; }
  CountedThread(const CountedThread&) = delete;
  CountedThread& operator=(const CountedThread&) = delete;
  ~CountedThread() { threads -= 1; }
  std::atomic<int32_t>& threads;
};

}  // namespace

TestAsioSession::TestAsioSession(TestAsioDevice& device, const TestAsioSettings& settings, int32_t blockLength,
                                 const platform::AsioCallbackRecord& callbacks)
    : device_(device),
      settings_(settings),
      blockLength_(blockLength),
      callbacks_(callbacks),
      inputs_(makeChannels(settings.inputs, true)),
      outputs_(makeChannels(settings.outputs, false)),
      tone_(static_cast<size_t>(blockLength)) {
  device_.bufferSets += 1;
  device_.engineVersion = callbacks_.asioMessage(2, 0, nullptr, nullptr);
  const bool understood = callbacks_.asioMessage(1, 7, nullptr, nullptr) != 0;
  device_.timeInfo = understood ? callbacks_.asioMessage(7, 0, nullptr, nullptr) : 0;
  sendsTime_ = settings_.timeInfo != 0 && device_.timeInfo != 0;
}

TestAsioSession::~TestAsioSession() {
  stop();
  device_.bufferSets -= 1;
}

std::vector<TestAsioSession::Channel> TestAsioSession::makeChannels(int32_t count, bool inputs) const {
  std::vector<Channel> channels(static_cast<size_t>(count));
  for (int32_t k = 0; k < count; ++k) {
    Channel& channel = channels[static_cast<size_t>(k)];
    channel.type = inputs ? settings_.inputType(k) : settings_.outputType(k);
    for (auto& half : channel.halves) {
      half.resize(static_cast<size_t>(blockLength_ * platform::BytesPerSample(channel.type)));
    }
  }
  return channels;
}

void TestAsioSession::giveBuffers(platform::AsioBufferInfo* infos, int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    Channel& channel = (infos[k].isInput != 0 ? inputs_ : outputs_)[static_cast<size_t>(infos[k].channel)];
    const bool leftOut = settings_.nullBuffers != 0 && k == count - 1;
    for (size_t half = 0; half < 2; ++half) {
      infos[k].buffers[half] = leftOut ? nullptr : channel.halves[half].data();
    }
  }
}

void TestAsioSession::start() {
  stopping_ = false;
  strayBlocks(settings_.blocksInStart);
  clock_ = std::thread([this] { runClock(); });
  if (settings_.secondThread != 0) {
    second_ = std::thread([this] { runSecondThread(); });
  }
}

void TestAsioSession::stop() {
  if (!clock_.joinable()) {
    return;
  }
  stopping_ = true;
  clock_.join();
  if (second_.joinable()) {
    second_.join();
  }
  if (settings_.blocksAfterStop > 0) {
    // It holds nothing of this session, which may be gone when it calls. It counts from here on: a test that waits for
    // the driver's threads to end must not look before it has begun.
    const auto counted = std::make_shared<const CountedThread>(device_);
    std::thread([&device = device_, callbacks = callbacks_, count = settings_.blocksAfterStop, counted] {
      for (int32_t k = 0; k < count; ++k) {
        callbacks.bufferSwitch(k % 2, 1);
        callbacks.asioMessage(6, 0, nullptr, nullptr);
        callbacks.sampleRateDidChange(12345.0);
        device.strayBlocks += 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    }).detach();
  }
}

void TestAsioSession::strayBlocks(int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    callbacks_.bufferSwitch(k % 2, 1);
    device_.strayBlocks += 1;
  }
}

void TestAsioSession::notifyAll() {
  for (int32_t selector = 0; selector <= 16; ++selector) {
    const int32_t answer = callbacks_.asioMessage(selector, selector, nullptr, nullptr);
    if (selector == 3) {
      device_.resetAnswer = answer;
    }
  }
  callbacks_.sampleRateDidChange(static_cast<double>(settings_.rate));
  callbacks_.sampleRateDidChange(0.0);
}

void TestAsioSession::runSecondThread() {
  const CountedThread counted(device_);
  while (!stopping_) {
    strayBlocks(2);
    notifyAll();
  }
}

void TestAsioSession::runClock() {
  const CountedThread counted(device_);
  SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL);
  const bool real = settings_.clock != "fast";
  const double period = 1e7 * blockLength_ / settings_.rate;
  const int64_t begin = now100ns();
  for (int64_t block = 0; !stopping_ && settings_.mute == 0; ++block) {
    if (settings_.blocks >= 0 && block >= settings_.blocks) {
      break;
    }
    if (real) {
      const int64_t due = begin + static_cast<int64_t>(static_cast<double>(block + 1) * period);
      waitUntil(due);
      if (settings_.lateEvery > 0 && block % settings_.lateEvery == settings_.lateEvery - 1) {
        waitUntil(now100ns() + settings_.lateMs * 10000LL);
      }
      device_.lateBlocks += now100ns() - due > static_cast<int64_t>(period / 2) ? 1 : 0;
    }
    deliver(block);
  }
}

void TestAsioSession::deliver(int64_t block) {
  const auto half = static_cast<size_t>(ran_ % 2);
  fillInputs(ran_, half);
  if (settings_.notify != 0) {
    notifyAll();
  }
  if (block == settings_.rateChangeBlock) {
    callbacks_.sampleRateDidChange(static_cast<double>(settings_.newRate));
  }
  if (settings_.badHalves != 0) {
    for (const int32_t bad : {-1, 2, 1000000}) {
      callbacks_.bufferSwitch(bad, 1);
    }
  }
  const int64_t before = now100ns();
  if (sendsTime_) {
    AsioTime time = {};
    time.info.sampleRate = settings_.rate;
    callbacks_.bufferSwitchTimeInfo(&time, static_cast<int32_t>(half), 1);
    device_.timedBlocks += 1;
  } else {
    callbacks_.bufferSwitch(static_cast<int32_t>(half), 1);
  }
  const int64_t ticks = now100ns() - before;
  device_.callbackTicks += ticks;
  if (ticks > device_.maximumTicks) {
    device_.maximumTicks = ticks;
  }
  checkOutputs(half);
  ran_ += 1;
  device_.blocks += 1;
}

void TestAsioSession::fillInputs(int64_t block, size_t half) {
  if (settings_.signal == "silence") {
    return;
  }
  const double step = 2.0 * std::numbers::pi * 440.0 / settings_.rate;
  for (int32_t n = 0; settings_.signal == "tone" && n < blockLength_; ++n) {
    tone_[static_cast<size_t>(n)] = 0.25 * std::sin(step * static_cast<double>(block * blockLength_ + n));
  }
  for (size_t k = 0; k < inputs_.size(); ++k) {
    std::vector<uint8_t>& bytes = inputs_[k].halves[half];
    if (settings_.signal == "codes") {
      const auto base = static_cast<uint8_t>(block * 31 + static_cast<int64_t>(k) * 7);
      for (size_t j = 0; j < bytes.size(); ++j) {
        bytes[j] = static_cast<uint8_t>(base + j);
      }
      continue;
    }
    for (int32_t n = 0; n < blockLength_; ++n) {
      PutSample(bytes.data(), inputs_[k].type, n, tone_[static_cast<size_t>(n)]);
    }
  }
}

void TestAsioSession::checkOutputs(size_t half) {
  bool same = true;
  for (size_t k = 0; k < std::min(inputs_.size(), outputs_.size()); ++k) {
    same = same && inputs_[k].halves[half] == outputs_[k].halves[half];
  }
  device_.mismatches += same ? 0 : 1;
  if (settings_.signal == "codes") {
    return;
  }
  double peak = device_.outputPeak;
  for (const Channel& channel : outputs_) {
    for (int32_t n = 0; n < blockLength_; ++n) {
      peak = std::max(peak, std::abs(GetSample(channel.halves[half].data(), channel.type, n)));
    }
  }
  device_.outputPeak = peak;
}

}  // namespace tarnwick::tests
