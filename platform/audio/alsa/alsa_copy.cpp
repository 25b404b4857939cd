#include "platform/audio/alsa/alsa_copy.h"

#include <cstring>

namespace tarnwick::platform {
namespace {

// One channel's frames in ALSA's memory.
struct Lane {
  std::byte* at = nullptr;
  size_t step = 0;  // bytes
};

Lane laneOf(const AlsaFrames& frames, size_t channel) {
  const snd_pcm_channel_area_t& area = frames.areas[channel];
  const size_t step = area.step / 8;
  return {static_cast<std::byte*>(area.addr) + area.first / 8 + frames.offset * step, step};
}

template <size_t kBytes>
void gather(const Lane& from, std::byte* to, size_t count) {
  for (size_t k = 0; k < count; ++k) {
    std::memcpy(to + k * kBytes, from.at + k * from.step, kBytes);
  }
}

template <size_t kBytes>
void scatter(const std::byte* from, const Lane& to, size_t count) {
  for (size_t k = 0; k < count; ++k) {
    std::memcpy(to.at + k * to.step, from + k * kBytes, kBytes);
  }
}

template <size_t kBytes>
void silence(const Lane& to, size_t count) {
  for (size_t k = 0; k < count; ++k) {
    std::memset(to.at + k * to.step, 0, kBytes);
  }
}

template <size_t kBytes>
void copyFrom(const AlsaFrames& from, void* const* buffers, size_t hostOffset) {
  for (size_t channel = 0; channel < from.channels; ++channel) {
    if (buffers[channel]) {
      gather<kBytes>(laneOf(from, channel), static_cast<std::byte*>(buffers[channel]) + hostOffset * kBytes,
                     from.count);
    }
  }
}

template <size_t kBytes>
void copyTo(const AlsaFrames& to, const void* const* buffers, size_t hostOffset) {
  for (size_t channel = 0; channel < to.channels; ++channel) {
    if (buffers[channel]) {
      scatter<kBytes>(static_cast<const std::byte*>(buffers[channel]) + hostOffset * kBytes, laneOf(to, channel),
                      to.count);
    } else {
      silence<kBytes>(laneOf(to, channel), to.count);
    }
  }
}

}  // namespace

void CopyFromAlsa(const AlsaFrames& from, void* const* buffers, size_t hostOffset) {
  switch (from.sampleBytes) {
    case 2:
      return copyFrom<2>(from, buffers, hostOffset);
    case 3:
      return copyFrom<3>(from, buffers, hostOffset);
    default:
      return copyFrom<4>(from, buffers, hostOffset);
  }
}

void CopyToAlsa(const AlsaFrames& to, const void* const* buffers, size_t hostOffset) {
  switch (to.sampleBytes) {
    case 2:
      return copyTo<2>(to, buffers, hostOffset);
    case 3:
      return copyTo<3>(to, buffers, hostOffset);
    default:
      return copyTo<4>(to, buffers, hostOffset);
  }
}

}  // namespace tarnwick::platform
