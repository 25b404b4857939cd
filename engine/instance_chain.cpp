#include "engine/instance_chain.h"

#include <algorithm>
#include <cstring>

#include "engine/atomic_word.h"
#include "platform/audio/audio_driver.h"
#include "platform/clock.h"
#include "sound/block_ops.h"
#include "sound/sample_format.h"

namespace tarnwick::engine {
namespace {

// Samples of a channel that is not 32-bit float are converted in pieces of this many.
constexpr int32_t kPiece = 256;

size_t bytesOf(int32_t n) noexcept {
  return static_cast<size_t>(n) * sizeof(float);
}

// Fills `input` with the instance's source; false when it has none.
bool fetchSource(const Engine& engine, const InstanceConfig& config, float* input, int32_t half, int32_t n) noexcept {
  const bool pinkWanted =
      engine.testSignalAll.load(std::memory_order_relaxed) || LoadWord(config.testSignalEnabled) != 0;
  if (pinkWanted && engine.pink.block.size() >= static_cast<size_t>(n)) {
    std::memcpy(input, engine.pink.block.data(), bytesOf(n));
    return true;
  }
  const int32_t channel = LoadWord(config.inputChannel);
  if (channel < 0 || channel >= engine.session.numInputs) {
    return false;
  }
  const void* buffer = InputBuffer(engine.session, channel, half);
  if (buffer == nullptr) {
    return false;
  }
  sound::ReadBlock(InputType(engine.session, channel), buffer, input, n);
  return true;
}

// The same with the input gain.
bool fetchGained(const Engine& engine, const InstanceConfig& config, float* input, int32_t half, int32_t n) noexcept {
  if (!fetchSource(engine, config, input, half, n)) {
    return false;
  }
  const float gain = LoadWord(config.inputGain);
  if (gain != 1.0f) {
    sound::MultiplyBlock(input, gain, n);
  }
  return true;
}

void meterInstance(const Engine& engine, InstanceSlot& slot, bool hasSource, int32_t n) noexcept {
  float level = kNoSignalDb;
  if (engine.meteringEnabled.load(std::memory_order_relaxed)) {
    const MeterWindow& window = engine.instanceMeters.window();
    if (hasSource && window.length > 0) {
      FeedRing(*slot.meter, window, slot.input.data(), n);
      level = RingLevelDb(*slot.meter);
    } else {
      ResetRing(*slot.meter);
    }
  }
  StoreWord(slot.meterDb, level);
}

// Calls `feed(samples, count)` with a channel's samples as float, in pieces unless they are float already.
template <class Feed>
void forChannel(int32_t type, const void* buffer, int32_t n, Feed feed) noexcept {
  if (type == platform::kFloat32LSB) {
    feed(static_cast<const float*>(buffer), n);
    return;
  }
  float piece[kPiece];
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  for (int32_t from = 0; from < n; from += kPiece) {
    const int32_t count = std::min(kPiece, n - from);
    sound::ReadBlock(type, bytes + static_cast<size_t>(from) * static_cast<size_t>(platform::BytesPerSample(type)),
                     piece, count);
    feed(piece, count);
  }
}

}  // namespace

void ProcessInstance(Engine& engine, InstanceSlot& slot, int32_t half, int32_t n) noexcept {
  float* input = slot.input.data();
  float* output = slot.output.data();
  const bool hasSource = fetchGained(engine, slot.config, input, half, n);
  meterInstance(engine, slot, hasSource, n);
  if (!hasSource) {
    std::memset(output, 0, bytesOf(n));
  } else if (LoadWord(slot.config.bypassEnabled) != 0) {
    std::memcpy(output, input, bytesOf(n));
  } else if (!plugin::ProcessBlock(slot.runner, input, output, n)) {
    // `input` is the effect's own buffer, into which it may have written before it failed.
    if (fetchGained(engine, slot.config, input, half, n)) {
      std::memcpy(output, input, bytesOf(n));
    }
  }
  const float gain = LoadWord(slot.config.outputGain);
  if (gain != 1.0f) {
    sound::MultiplyBlock(output, gain, n);
  }
}

void SumInstance(Engine& engine, const InstanceSlot& slot, int32_t half, int32_t n) noexcept {
  const int32_t channel = LoadWord(slot.config.outputChannel);
  if (channel < 0 || channel >= engine.session.numOutputs) {
    return;
  }
  void* buffer = OutputBuffer(engine.session, channel, half);
  if (buffer != nullptr) {
    sound::AddBlock(OutputType(engine.session, channel), buffer, slot.output.data(), n);
  }
}

void ClearOutputs(Engine& engine, int32_t half, int32_t n) noexcept {
  for (int32_t k = 0; k < engine.session.numOutputs; ++k) {
    void* buffer = OutputBuffer(engine.session, k, half);
    if (buffer != nullptr) {
      sound::ClearBlock(OutputType(engine.session, k), buffer, n);
    }
  }
}

void FeedInputMeters(Engine& engine, int32_t half, int32_t n) noexcept {
  if (!engine.meteringEnabled.load(std::memory_order_relaxed)) {
    return;
  }
  engine.inputMeters.adoptRate(engine.session.sampleRate.load(std::memory_order_relaxed));
  const MeterWindow& window = engine.inputMeters.window();
  const int32_t channels = std::min(engine.session.numInputs, kMeteredChannels);
  for (int32_t k = 0; k < channels; ++k) {
    const void* buffer = InputBuffer(engine.session, k, half);
    if (buffer == nullptr) {
      continue;
    }
    MeterRing& ring = engine.inputMeters.ring(k);
    forChannel(InputType(engine.session, k), buffer, n,
               [&](const float* samples, int32_t count) { FeedRing(ring, window, samples, count); });
  }
}

void FeedOutputMeters(Engine& engine, int32_t half, int32_t n, bool intoTotals) noexcept {
  if (!engine.meteringEnabled.load(std::memory_order_relaxed)) {
    return;
  }
  const bool totalling = intoTotals && engine.totalsWanted.load(std::memory_order_relaxed);
  engine.outputMeters.adoptRate(engine.session.sampleRate.load(std::memory_order_relaxed));
  const MeterWindow& window = engine.outputMeters.window();
  const int32_t channels = std::min(engine.session.numOutputs, kMeteredChannels);
  for (int32_t k = 0; k < channels; ++k) {
    const void* buffer = OutputBuffer(engine.session, k, half);
    if (buffer == nullptr) {
      continue;
    }
    MeterRing& ring = engine.outputMeters.ring(k);
    ChannelTotals& totals = engine.outputTotals[static_cast<size_t>(k)];
    forChannel(OutputType(engine.session, k), buffer, n, [&](const float* samples, int32_t count) {
      const double squares = FeedRing(ring, window, samples, count);
      if (totalling) {
        totals.squares += squares;
        totals.peak = std::max(totals.peak, sound::PeakOfBlock(samples, count));
        totals.frames += count;
      }
    });
  }
}

void DetectGlitches(Engine& engine, const InstanceOrder& order, int32_t half, int32_t n, int64_t now) noexcept {
  if (!engine.glitchesArmed.load(std::memory_order_relaxed)) {
    return;
  }
  const int64_t started = engine.hostStartTimestamp.load(std::memory_order_relaxed);
  const bool settling = now - started < kGlitchGrace.count() * platform::CounterFrequency();
  for (int32_t i = 0; i < order.count; ++i) {
    InstanceSlot& slot = engine.instances.slotOf(order, i);
    const int32_t channel = LoadWord(slot.config.outputChannel);
    if (channel < 0 || channel >= engine.session.numOutputs) {
      continue;
    }
    const void* buffer = OutputBuffer(engine.session, channel, half);
    if (buffer == nullptr) {
      continue;
    }
    if (settling) {
      ForgetBlocks(slot.glitch);
      continue;
    }
    if (float* block = NextHistoryBlock(slot.glitch, n)) {
      sound::ReadBlock(OutputType(engine.session, channel), buffer, block, n);
      EvaluateHistory(slot.glitch);
    }
  }
}

}  // namespace tarnwick::engine
