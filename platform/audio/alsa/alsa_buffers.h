// The host's buffers of an ALSA session: two halves for each channel that the host asks for.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/audio/alsa/alsa_stream.h"
#include "platform/audio/alsa/alsa_thread.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// User-interface thread.
class AlsaBuffers {
 public:
  // Makes them for run.blockLength and enters them in `infos`, whose channels exist, and `run`. May throw
  // std::bad_alloc.
  void make(AudioBufferInfo* infos, int32_t count, const AlsaAbility& capture, const AlsaAbility& playback,
            AlsaRun& run);
  void silence() { std::fill(memory_.begin(), memory_.end(), CacheLine{}); }

 private:
  struct alignas(64) CacheLine {
    std::byte bytes[64];
  };
  std::vector<CacheLine> memory_;  // all of them
};

}  // namespace tarnwick::platform
