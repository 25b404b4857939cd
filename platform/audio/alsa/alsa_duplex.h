// A set-up ALSA device as the device thread sees it.
#pragma once

#include <poll.h>

#include <vector>

#include "platform/audio/alsa/alsa_pcm.h"
#include "platform/audio/alsa/alsa_stream.h"
#include "platform/audio/alsa/alsa_wake.h"

namespace tarnwick::platform {

class AlsaDuplex final : public AlsaPcm {
 public:
  // Configured streams that outlive this; one may be null. They start together where their driver can do that. May
  // throw std::bad_alloc and std::system_error.
  AlsaDuplex(AlsaStream* capture, AlsaStream* playback);
  AlsaDuplex(const AlsaDuplex&) = delete;
  AlsaDuplex& operator=(const AlsaDuplex&) = delete;
  ~AlsaDuplex() override;

  bool has(AlsaDirection direction) const override { return stream(direction) != nullptr; }
  int prepare() override;
  int prime() override { return playback_->prime(); }
  int start() override;
  void drop() override;
  int resume() override;
  long available(AlsaDirection direction) override { return stream(direction)->available(); }
  long transfer(AlsaDirection direction, void* const* buffers, long offset, long frames) override {
    return stream(direction)->transfer(buffers, offset, frames);
  }
  int wait(bool capture, bool playback, int milliseconds) override;
  void wake() override { wake_.signal(); }
  int hardwareDelay(AlsaDirection direction, long& frames) override { return stream(direction)->hardwareDelay(frames); }

 private:
  AlsaStream* stream(AlsaDirection direction) const {
    return direction == AlsaDirection::capture ? capture_ : playback_;
  }
  static int descriptorCount(const AlsaStream* stream);
  int answer(const AlsaStream& stream, pollfd* descriptors, int count) const;

  AlsaStream* capture_;
  AlsaStream* playback_;
  bool linked_ = false;
  AlsaWake wake_;
  std::vector<pollfd> descriptors_;  // room for wake_ and both streams
};

}  // namespace tarnwick::platform
