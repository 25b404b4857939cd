// The virtual device between ASIOCreateBuffers and ASIODisposeBuffers: buffers, sources, capture and clock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/audio/audio_driver.h"
#include "sound/virtual/capture_writer.h"
#include "sound/virtual/clock_thread.h"
#include "sound/virtual/signal_sources.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::sound {

// User-interface thread. May throw std::bad_alloc and std::system_error.
class VirtualSession {
 public:
  // The arguments outlive this. `source` and `captureFile` may be null.
  VirtualSession(const VirtualOptions& options, ClockThread& clock, const WavSamples* source, WavWriter* captureFile,
                 CaptureReport& report);
  VirtualSession(const VirtualSession&) = delete;
  VirtualSession& operator=(const VirtualSession&) = delete;
  ~VirtualSession();  // stops

  // Makes the buffers and fills `infos`; once. The arguments have been checked.
  void create(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength, double sampleRate,
              const platform::AudioCallbacks& callbacks);
  // Sources begin from their start, buffers from silence; the capture goes on where it ended.
  void start();
  void stop();

  int32_t blockLength() const { return blockLength_; }

 private:
  // The two halves of one channel's buffer; null when the host has not asked for the channel.
  using BufferHalves = std::array<float*, 2>;
  struct alignas(64) CacheLine {
    std::byte bytes[64];
  };

  // Clock thread.
  void deliver(int64_t block);
  void fillInputs(size_t half);
  void takeOutputs(size_t half, bool played);  // silence for a block that the host let pass

  const VirtualOptions& options_;
  ClockThread& clock_;
  const WavSamples* source_;
  WavWriter* captureFile_;
  CaptureReport& report_;
  platform::AudioCallbacks callbacks_;
  int32_t blockLength_ = 0;
  double sampleRate_ = 0.0;
  std::vector<BufferHalves> inputs_;   // by channel
  std::vector<BufferHalves> outputs_;  // by channel
  std::vector<CacheLine> memory_;      // all buffers
  std::unique_ptr<SignalSources> sources_;
  std::unique_ptr<CaptureWriter> capture_;  // from the first start on
};

}  // namespace tarnwick::sound
