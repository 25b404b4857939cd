#include "platform/audio/alsa/alsa_thread.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/clock.h"
#include "platform/threads.h"

namespace tarnwick::platform {
namespace {

// A device that shows nothing for this long, over and above three blocks, has stalled.
constexpr int kStallMilliseconds = 500;
// How long a suspended device may take to come back after the machine has.
constexpr uint64_t kResumeMilliseconds = 10'000;
constexpr int kResumeNap = 50;
// The delays are read when the device has settled.
constexpr int32_t kSettledBlocks = 16;
// Tries of a block that is announced but does not move.
constexpr int32_t kMostEmptyTransfers = 1000;

constexpr unsigned bit(AlsaDirection direction) {
  return direction == AlsaDirection::capture ? 1U : 2U;
}

}  // namespace

int AlsaThread::start(AlsaRun run) {
  run_ = std::move(run);
  silentOutputs_.assign(run_.outputs[0].size(), nullptr);
  failures_ = {};
  half_ = 0;
  status_.blocks.store(0);
  status_.xruns.store(0);
  status_.suspends.store(0);
  status_.stalls.store(0);
  status_.faults.store(0);
  status_.lost.store(0);
  status_.captureDelay.store(0);
  status_.playbackDelay.store(0);
  stopping_.store(false);
  std::promise<int> started;
  std::future<int> result = started.get_future();
  thread_ = std::thread([this, given = std::move(started)]() mutable { this->run(given); });
  const int error = result.get();
  if (error < 0) {
    thread_.join();
  }
  return error;
}

void AlsaThread::stop() {
  if (!thread_.joinable()) {
    return;
  }
  stopping_.store(true);
  pcm_.wake();
  thread_.join();
}

void AlsaThread::run(std::promise<int>& started) {
  SetThreadName("twk-alsa");
  const int error = restart();
  // Before the start returns: what is made for the session is made for its rate.
  if (error >= 0 && run_.tellsRate && run_.callbacks.sampleRateDidChange) {
    run_.callbacks.sampleRateDidChange(run_.callbacks.context, run_.sampleRate);
  }
  started.set_value(error);
  if (error < 0) {
    pcm_.drop();
    return;
  }
  while (!stopping()) {
    const int outcome = deliverBlock();
    if (outcome >= 0) {
      failures_ = {};
      continue;
    }
    if (!recover(outcome)) {
      break;
    }
  }
  pcm_.drop();
  if (status_.lost.load(std::memory_order_relaxed) != 0 && run_.lossSignal) {
    run_.lossSignal->signal();
  }
}

int AlsaThread::restart() {
  sinceStart_ = 0;
  int error = pcm_.prepare();
  if (error >= 0 && pcm_.has(AlsaDirection::playback)) {
    error = pcm_.prime();
  }
  return error < 0 ? error : pcm_.start();
}

// 0 also when the run is to end.
int AlsaThread::deliverBlock() {
  int error = awaitBlock();
  if (error < 0 || stopping()) {
    return error;
  }
  if (pcm_.has(AlsaDirection::capture)) {
    error = moveBlock(AlsaDirection::capture, run_.inputs[half_].data());
    if (error < 0 || stopping()) {
      return error;
    }
  }
  measureDelays();
  void* const* outputs = run_.outputs[half_].data();
  if (!run_.callbacks.bufferSwitch(run_.callbacks.context, static_cast<int32_t>(half_), true)) {
    // This half holds an old block: a null buffer is silence.
    outputs = silentOutputs_.data();
  }
  status_.blocks.fetch_add(1, std::memory_order_release);
  failures_.sinceCallback = 0;
  half_ ^= 1;
  return pcm_.has(AlsaDirection::playback) ? moveBlock(AlsaDirection::playback, outputs) : 0;
}

// Until every direction has a block's frames.
int AlsaThread::awaitBlock() {
  const int blockMilliseconds = static_cast<int>(1000.0 * run_.blockLength / run_.sampleRate);
  const auto limit = uint64_t{kStallMilliseconds} + 3 * static_cast<uint64_t>(blockMilliseconds);
  const uint64_t begin = TickMilliseconds();
  unsigned waitedFor = 0;  // one bit a direction
  bool paused = false;
  while (!stopping()) {
    unsigned missing = 0;
    for (const AlsaDirection direction : {AlsaDirection::capture, AlsaDirection::playback}) {
      const long frames = pcm_.has(direction) ? pcm_.available(direction) : run_.blockLength;
      if (frames < 0) {
        return static_cast<int>(frames);
      }
      missing |= frames < run_.blockLength ? bit(direction) : 0;
    }
    if (missing == 0) {
      return 0;
    }
    const uint64_t passed = TickMilliseconds() - begin;
    if (passed >= limit) {
      return AlsaStalled();
    }
    // A device that says it is ready without being so would be asked without end: then there is a pause in between.
    paused = missing == waitedFor && !paused;
    waitedFor = missing;
    const int result = paused
                           ? pcm_.wait(false, false, std::max(1, blockMilliseconds / 4))
                           : pcm_.wait((missing & bit(AlsaDirection::capture)) != 0,
                                       (missing & bit(AlsaDirection::playback)) != 0, static_cast<int>(limit - passed));
    if (result < 0) {
      return result;
    }
    if (result == 0 && !paused) {
      return AlsaStalled();
    }
  }
  return 0;
}

int AlsaThread::moveBlock(AlsaDirection direction, void* const* buffers) {
  int32_t empty = 0;
  for (long done = 0; done < run_.blockLength;) {
    const long moved = pcm_.transfer(direction, buffers, done, run_.blockLength - done);
    if (moved < 0 && moved != -EAGAIN && moved != -EINTR) {
      return static_cast<int>(moved);
    }
    if (moved > 0) {
      done += moved;
      continue;
    }
    if (stopping()) {
      return 0;
    }
    if (++empty > kMostEmptyTransfers) {
      return AlsaStalled();
    }
    pcm_.wait(false, false, 1);
  }
  return 0;
}

// Once after each start.
void AlsaThread::measureDelays() {
  if (sinceStart_ > kSettledBlocks || sinceStart_++ < kSettledBlocks) {
    return;
  }
  bool changed = false;
  for (const AlsaDirection direction : {AlsaDirection::capture, AlsaDirection::playback}) {
    long frames = 0;
    if (!pcm_.has(direction) || pcm_.hardwareDelay(direction, frames) < 0) {
      continue;
    }
    // A value out of all proportion is a driver's mistake.
    const long known = frames > 0 && static_cast<double>(frames) < run_.sampleRate ? frames : 0;
    std::atomic<int32_t>& delay = direction == AlsaDirection::capture ? status_.captureDelay : status_.playbackDelay;
    changed |= delay.exchange(static_cast<int32_t>(known), std::memory_order_relaxed) != known;
  }
  if (changed && run_.callbacks.asioMessage) {
    run_.callbacks.asioMessage(run_.callbacks.context, kAsioLatenciesChanged, 0);
  }
}

// False when the run ends.
bool AlsaThread::recover(int error) {
  while (!stopping()) {
    const AlsaVerdict verdict = JudgeAlsaError(error, failures_);
    count(verdict.event, error);
    if (verdict.recovery == AlsaRecovery::lost) {
      status_.lost.store(error, std::memory_order_release);
      return false;
    }
    if (verdict.napMilliseconds > 0) {
      pcm_.wait(false, false, verdict.napMilliseconds);
    }
    if (verdict.recovery == AlsaRecovery::again) {
      return true;
    }
    ++failures_.sinceCallback;
    ++failures_.sinceBlock;
    if (verdict.recovery == AlsaRecovery::resume) {
      error = resume();
      if (error < 0) {
        continue;
      }
    }
    pcm_.drop();
    error = restart();
    if (error >= 0) {
      return true;
    }
  }
  return false;
}

// 0 when the device is awake, or does not know how to resume: the restart that follows does the rest.
int AlsaThread::resume() {
  const uint64_t begin = TickMilliseconds();
  while (!stopping() && TickMilliseconds() - begin < kResumeMilliseconds) {
    const int error = pcm_.resume();
    if (error != -EAGAIN) {
      return error == -ENODEV ? error : 0;
    }
    pcm_.wait(false, false, kResumeNap);
  }
  return 0;
}

void AlsaThread::count(AlsaEvent event, int error) {
  switch (event) {
    case AlsaEvent::none:
      break;
    case AlsaEvent::xrun:
      status_.xruns.fetch_add(1, std::memory_order_relaxed);
      break;
    case AlsaEvent::suspend:
      status_.suspends.fetch_add(1, std::memory_order_relaxed);
      break;
    case AlsaEvent::stall:
      status_.stalls.fetch_add(1, std::memory_order_relaxed);
      break;
    case AlsaEvent::fault:
      status_.lastFault.store(error, std::memory_order_relaxed);
      status_.faults.fetch_add(1, std::memory_order_relaxed);
      break;
  }
}

}  // namespace tarnwick::platform
