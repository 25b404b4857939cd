// Operations of an opened ALSA device for the device thread: capture, playback, or both run as one.
#pragma once

#include <cstdint>

namespace tarnwick::platform {

enum class AlsaDirection { capture, playback };

// Results are 0 or a count, or a negative errno as ALSA gives it. All but `wake` belong to the device thread, and only
// `wait` waits.
class AlsaPcm {
 public:
  virtual ~AlsaPcm() = default;

  virtual bool has(AlsaDirection direction) const = 0;
  // Stops what runs and empties both buffers.
  virtual int prepare() = 0;
  // Puts silence in front of the first block: as much as playback is to hold.
  virtual int prime() = 0;
  virtual int start() = 0;
  virtual void drop() = 0;
  // After a suspend: -EAGAIN while the device is not back yet.
  virtual int resume() = 0;
  // Frames that can be transferred now without more than the wanted latency being queued.
  virtual long available(AlsaDirection direction) = 0;
  // Moves up to `frames` frames, from frame `offset` of the host's buffers on. `buffers` has one entry for each channel
  // of the device; a null one is not taken, or played as silence. Returns the frames moved, perhaps 0.
  virtual long transfer(AlsaDirection direction, void* const* buffers, long offset, long frames) = 0;
  // Waits until one of the directions asked for may have something, for a nap with none asked for, or until woken: 1.
  // 0 when `milliseconds` have passed.
  virtual int wait(bool capture, bool playback, int milliseconds) = 0;
  // Ends a wait, or the next one. Any thread.
  virtual void wake() = 0;
  // Frames of the way between the buffer and the socket, as far as the driver knows it.
  virtual int hardwareDelay(AlsaDirection direction, long& frames) = 0;
};

}  // namespace tarnwick::platform
