#include "platform/audio/alsa/alsa_duplex.h"

#include <algorithm>
#include <cerrno>

namespace tarnwick::platform {
namespace {

// The error of a stream that polls with one.
int errorOf(snd_pcm_t* pcm) {
  switch (snd_pcm_state(pcm)) {
    case SND_PCM_STATE_XRUN:
      return -EPIPE;
    case SND_PCM_STATE_SUSPENDED:
      return -ESTRPIPE;
    case SND_PCM_STATE_DISCONNECTED:
      return -ENODEV;
    default: {
      const snd_pcm_sframes_t frames = snd_pcm_avail_update(pcm);
      return frames < 0 ? static_cast<int>(frames) : -EIO;
    }
  }
}

}  // namespace

AlsaDuplex::AlsaDuplex(AlsaStream* capture, AlsaStream* playback) : capture_(capture), playback_(playback) {
  const int descriptors = 1 + descriptorCount(capture_) + descriptorCount(playback_);
  descriptors_.resize(static_cast<size_t>(descriptors));
  linked_ = capture_ && playback_ && snd_pcm_link(capture_->pcm(), playback_->pcm()) >= 0;
}

AlsaDuplex::~AlsaDuplex() {
  if (linked_) {
    snd_pcm_unlink(capture_->pcm());
  }
}

int AlsaDuplex::descriptorCount(const AlsaStream* stream) {
  return stream ? std::max(0, snd_pcm_poll_descriptors_count(stream->pcm())) : 0;
}

// Linked streams are prepared together; the second call then only takes note of it.
int AlsaDuplex::prepare() {
  for (const AlsaStream* stream : {capture_, playback_}) {
    const int error = stream ? snd_pcm_prepare(stream->pcm()) : 0;
    if (error < 0) {
      return error;
    }
  }
  return 0;
}

// Apart, capture goes first: what playback lags behind is then not missing from what it holds.
int AlsaDuplex::start() {
  if (linked_) {
    return snd_pcm_start(capture_->pcm());
  }
  for (const AlsaStream* stream : {capture_, playback_}) {
    const int error = stream ? snd_pcm_start(stream->pcm()) : 0;
    if (error < 0) {
      return error;
    }
  }
  return 0;
}

void AlsaDuplex::drop() {
  for (const AlsaStream* stream : {capture_, playback_}) {
    if (stream) {
      snd_pcm_drop(stream->pcm());
    }
  }
}

int AlsaDuplex::resume() {
  for (const AlsaStream* stream : {capture_, playback_}) {
    if (stream && snd_pcm_state(stream->pcm()) == SND_PCM_STATE_SUSPENDED) {
      const int error = snd_pcm_resume(stream->pcm());
      if (error < 0) {
        return error;
      }
    }
  }
  return 0;
}

int AlsaDuplex::wait(bool capture, bool playback, int milliseconds) {
  descriptors_[0] = {wake_.descriptor(), POLLIN, 0};
  int counts[2] = {0, 0};
  int used = 1;
  for (const AlsaDirection direction : {AlsaDirection::capture, AlsaDirection::playback}) {
    if (!(direction == AlsaDirection::capture ? capture : playback)) {
      continue;
    }
    const int room = static_cast<int>(descriptors_.size()) - used;
    const int count =
        snd_pcm_poll_descriptors(stream(direction)->pcm(), descriptors_.data() + used, static_cast<unsigned>(room));
    if (count < 0) {
      return count;
    }
    counts[static_cast<size_t>(direction)] = count;
    used += count;
  }
  const int ready = poll(descriptors_.data(), static_cast<nfds_t>(used), milliseconds);
  if (ready == 0) {
    return 0;
  }
  if (ready < 0) {
    return errno == EINTR ? 1 : -errno;
  }
  if (descriptors_[0].revents != 0) {
    wake_.clear();
    return 1;
  }
  int at = 1;
  for (const AlsaDirection direction : {AlsaDirection::capture, AlsaDirection::playback}) {
    const int count = counts[static_cast<size_t>(direction)];
    const int error = count > 0 ? answer(*stream(direction), descriptors_.data() + at, count) : 0;
    if (error < 0) {
      return error;
    }
    at += count;
  }
  return 1;
}

int AlsaDuplex::answer(const AlsaStream& stream, pollfd* descriptors, int count) const {
  uint16_t events = 0;
  const int error = snd_pcm_poll_descriptors_revents(stream.pcm(), descriptors, static_cast<unsigned>(count), &events);
  if (error < 0) {
    return error;
  }
  return (events & (POLLERR | POLLNVAL | POLLHUP)) != 0 ? errorOf(stream.pcm()) : 0;
}

}  // namespace tarnwick::platform
