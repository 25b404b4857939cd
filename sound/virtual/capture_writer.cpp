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
constexpr size_t kRealBytes = size_t{64} << 20;
constexpr size_t kFastBytes = size_t{1} << 20;
constexpr size_t kMinimumBlocks = 4;

constexpr std::chrono::milliseconds kIdle{5};

size_t samplesOf(const CaptureFormat& format) {
  return static_cast<size_t>(format.channels) * static_cast<size_t>(format.blockLength);
}

size_t ringLength(const CaptureFormat& format, bool waits) {
  const size_t blockBytes = sizeof(float) * samplesOf(format);
  if (waits) {
    return std::max(kMinimumBlocks, kFastBytes / blockBytes);
  }
  const auto wanted = static_cast<size_t>(kRealSeconds * format.sampleRate / format.blockLength) + 1;
  return std::max(kMinimumBlocks, std::min(wanted, kRealBytes / blockBytes));
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
      ring_(ringLength(format, waits), samplesOf(format)),
      writer_(ring_),
      reader_(ring_),
      interleaved_(samplesOf(format)),
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
  float* room = writer_.acquire();
  if (room == nullptr && waits_) {
    awaitRoom();
    room = writer_.acquire();
  }
  if (room == nullptr) {
    report_.addLost(static_cast<uint64_t>(format_.blockLength));
  }
  return room;
}

void CaptureWriter::commit() {
  writer_.commit();
}

void CaptureWriter::awaitRoom() {
  std::unique_lock lock(mutex_);
  waiting_ = true;
  work_.notify_one();
  room_.wait(lock, [this] { return isRoom(writer_.waiting()); });
  waiting_ = false;
}

bool CaptureWriter::isRoom(size_t waiting) const {
  // Half a ring at once, so that the two threads do not change places at every block.
  return waiting <= ring_.blocks() / 2;
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
    drain();
    if (ending || platform::CounterNow() - refreshed >= platform::CounterFrequency()) {
      refreshed = platform::CounterNow();
      std::wstring error;
      if (!file_.refreshHeader(&error) && writing_) {
        report_.setError(error);
        report_.addLost(static_cast<uint64_t>(format_.blockLength));
        writing_ = false;
      }
    }
  }
}

void CaptureWriter::drain() {
  // As many as there are now, so that the header's turn comes also while blocks keep coming.
  for (size_t left = reader_.waiting(); left > 0; --left) {
    writeBlock(reader_.front());
    reader_.pop();
    if (waits_) {
      const std::lock_guard lock(mutex_);
      if (waiting_ && isRoom(reader_.waiting())) {
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
