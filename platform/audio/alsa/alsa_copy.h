// Between the host's buffers, one a channel, and ALSA's memory in whatever order it has. Real-time safe; any thread.
#pragma once

#include <alsa/asoundlib.h>

#include <cstddef>
#include <cstdint>

namespace tarnwick::platform {

// A stretch of frames in ALSA's memory; every area starts at a whole byte and takes steps of whole bytes.
struct AlsaFrames {
  const snd_pcm_channel_area_t* areas = nullptr;  // one a channel
  size_t channels = 0;
  size_t offset = 0;  // of the first frame
  size_t count = 0;
  int32_t sampleBytes = 4;  // 2, 3 or 4
};

// `hostOffset`: frame of the host's buffers that goes with the first. A null buffer is left out.
void CopyFromAlsa(const AlsaFrames& from, void* const* buffers, size_t hostOffset);
// A null buffer is silence.
void CopyToAlsa(const AlsaFrames& to, const void* const* buffers, size_t hostOffset);

}  // namespace tarnwick::platform
