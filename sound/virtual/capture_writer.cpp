#include "sound/virtual/capture_writer.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"
#include "platform/threads.h"

namespace tarnwick::sound {
namespace {

// Length of the ring: a disk may pause this long beside the real clock. Beside the fast one a short ring is enough, and
// stays in the processor's cache.
constexpr double kRealSeconds = 2.0;
constexpr uint64_t kRealBytes = uint64_t{64} << 20;
constexpr uint64_t kFastBytes = uint64_t{1} << 20;
constexpr uint64_t kMinimumSlots = 4;

constexpr std::chrono::milliseconds kIdle{5};

uint64_t slotCount(const CaptureFormat& format, bool waits) {
  const uint64_t blockBytes =
      uint64_t{sizeof(float)} * static_cast<uint64_t>(format.channels) * static_cast<uint64_t>(format.blockLength);
  if (waits) {
    return std::max(kMinimumSlots, kFastBytes / blockBytes);
  }
  const auto wanted = static_cast<uint64_t>(kRealSeconds * format.sampleRate / format.blockLength) + 1;
  return std::max(kMinimumSlots, std::min(wanted, kRealBytes / blockBytes));
}

}  // namespace

void CaptureReport::setError(const std::wstring& words) {
  const std::lock_guard lock(mutex_);
  error_ = words;
}

std::wstring CaptureReport::error() const {
  const std::lock_guard lock(mutex_);
  return error_;
}

CaptureWriter::CaptureWriter(WavWriter& file, CaptureReport& report, const CaptureFormat& format, bool waits)
    : file_(file),
      report_(report),
      format_(format),
      waits_(waits),
      blockSamples_(static_cast<size_t>(format.channels) * static_cast<size_t>(format.blockLength)),
      slots_(slotCount(format, waits)),
      ring_(blockSamples_ * slots_),
      interleaved_(blockSamples_),
      thread_([this] { run(); }) {}

CaptureWriter::~CaptureWriter() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  work_.notify_one();
  thread_.join();
}

float* CaptureWriter::acquire() {
  const uint64_t block = written_.load(std::memory_order_relaxed);
  if (block - read_.load(std::memory_order_acquire) == slots_) {
    if (!waits_) {
      report_.addLost(static_cast<uint64_t>(format_.blockLength));
      return nullptr;
    }
    awaitRoom();
  }
  return ring_.data() + (block % slots_) * blockSamples_;
}

void CaptureWriter::commit() {
  written_.fetch_add(1, std::memory_order_release);
}

void CaptureWriter::awaitRoom() {
  std::unique_lock lock(mutex_);
  waiting_ = true;
  work_.notify_one();
  room_.wait(lock, [this] { return hasRoom(); });
  waiting_ = false;
}

bool CaptureWriter::hasRoom() const {
  // Half a ring at once, so that the two threads do not change places at every block.
  return written_.load(std::memory_order_relaxed) - read_.load(std::memory_order_acquire) <= slots_ / 2;
}

void CaptureWriter::run() {
  platform::SetThreadName("twk-capture");
  platform::IgnoreClosedPipes();
  int64_t refreshed = platform::CounterNow();
  bool ending = false;
  while (!ending) {
    {
      std::unique_lock lock(mutex_);
      work_.wait_for(lock, kIdle, [this] { return ending_ || waiting_; });
      ending = ending_;
    }
    drain(written_.load(std::memory_order_acquire));
    if (ending || platform::CounterNow() - refreshed >= platform::CounterFrequency()) {
      refreshed = platform::CounterNow();
      if (!file_.refreshHeader() && writing_) {
        report_.setError(L"its header could not be brought up to date.");
        report_.addLost(static_cast<uint64_t>(format_.blockLength));
        writing_ = false;
      }
    }
  }
}

void CaptureWriter::drain(uint64_t written) {
  for (uint64_t block = read_.load(std::memory_order_relaxed); block != written; ++block) {
    writeBlock(ring_.data() + (block % slots_) * blockSamples_);
    read_.store(block + 1, std::memory_order_release);
    if (waits_) {
      const std::lock_guard lock(mutex_);
      if (waiting_ && hasRoom()) {
        room_.notify_one();
      }
    }
  }
}

void CaptureWriter::writeBlock(const float* block) {
  if (!begun_) {
    begun_ = true;
    std::wstring error;
    writing_ = file_.begin(format_.sampleRate, &error);
    if (!writing_) {
      report_.setError(error);
    }
  }
  const auto channels = static_cast<size_t>(format_.channels);
  const auto frames = static_cast<size_t>(format_.blockLength);
  if (writing_) {
    for (size_t c = 0; c < channels; ++c) {
      const float* from = block + c * frames;
      for (size_t i = 0; i < frames; ++i) {
        interleaved_[i * channels + c] = from[i];
      }
    }
    std::wstring error;
    writing_ = file_.write(interleaved_.data(), frames, &error);
    if (!writing_ && !error.empty()) {
      report_.setError(error);
    }
  }
  if (!writing_) {
    report_.addLost(frames);
  }
}

}  // namespace tarnwick::sound
