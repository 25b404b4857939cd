// The virtual device between ASIOCreateBuffers and ASIODisposeBuffers: buffers, sources, capture and clock.
#pragma once

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

// User-interface thread. Exceptions of a lack of memory or threads become ASE_NoMemory.
class VirtualSession {
 public:
  // What is given here outlives this. `source` and `captureFile` may be null.
  VirtualSession(const VirtualOptions& options, ClockThread& clock, const WavSamples* source, WavWriter* captureFile,
                 CaptureReport& report);
  VirtualSession(const VirtualSession&) = delete;
  VirtualSession& operator=(const VirtualSession&) = delete;
  ~VirtualSession();  // stops

  // Makes the buffers and fills `infos`; once. ASE_InvalidParameter for a length outside the device's limits, a channel
  // that does not exist or comes twice, no channel at all, or no bufferSwitch; then nothing has been filled in.
  platform::AsioError create(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength, double sampleRate,
                             const platform::AudioCallbacks& callbacks);
  // Sources begin from their start, buffers from silence; the capture goes on where it ended.
  platform::AsioError start();
  void stop();

  int32_t blockLength() const { return run_.blockLength; }
  bool hasChannel(bool isInput, int32_t channel) const;

 private:
  struct alignas(64) CacheLine {
    std::byte bytes[64];
  };

  const VirtualOptions& options_;
  ClockThread& clock_;
  const WavSamples* source_;
  WavWriter* captureFile_;
  CaptureReport& report_;
  ClockRun run_;
  std::vector<CacheLine> memory_;  // all buffers
  std::unique_ptr<SignalSources> sources_;
  std::unique_ptr<CaptureWriter> capture_;  // from the first start on
};

}  // namespace tarnwick::sound
