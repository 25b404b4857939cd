#include "platform/audio/alsa/alsa_stream.h"

#include <algorithm>
#include <cerrno>

#include "platform/audio/alsa/alsa_copy.h"
#include "platform/audio/alsa/alsa_parameters.h"

namespace tarnwick::platform {

std::unique_ptr<AlsaStream> AlsaStream::open(const std::string& pcm, AlsaDirection direction, int& error) {
  snd_pcm_t* opened = nullptr;
  error = snd_pcm_open(&opened, pcm.c_str(),
                       direction == AlsaDirection::capture ? SND_PCM_STREAM_CAPTURE : SND_PCM_STREAM_PLAYBACK,
                       SND_PCM_NONBLOCK);
  return error < 0 ? nullptr : std::unique_ptr<AlsaStream>(new AlsaStream(opened, direction));
}

bool AlsaStream::hasRate(uint32_t rate) const {
  AlsaParameters parameters(pcm_.get());
  return parameters.any() >= 0 && snd_pcm_hw_params_test_rate(pcm_.get(), parameters.get(), rate, 0) == 0;
}

bool AlsaStream::rateRange(uint32_t& lowest, uint32_t& highest) const {
  AlsaParameters parameters(pcm_.get());
  return parameters.any() >= 0 && snd_pcm_hw_params_get_rate_min(parameters.get(), &lowest, nullptr) >= 0 &&
         snd_pcm_hw_params_get_rate_max(parameters.get(), &highest, nullptr) >= 0;
}

int AlsaStream::probe(uint32_t rate, const AlsaChoice& choice, AlsaAbility& out) const {
  AlsaParameters parameters(pcm_.get());
  const int error = parameters.narrow(rate, choice);
  return error < 0 ? error : parameters.ability(out);
}

int AlsaStream::configure(const AlsaSetup& setup, const AlsaChoice& choice) {
  AlsaParameters parameters(pcm_.get());
  AlsaAbility ability;
  int error = parameters.narrow(setup.rate, choice);
  if (error >= 0) {
    error = parameters.ability(ability);
  }
  if (error >= 0) {
    error = parameters.setBlocks(setup.blockLength, setup.periods);
  }
  if (error >= 0) {
    error = snd_pcm_hw_params(pcm_.get(), parameters.get());
  }
  if (error < 0) {
    return error;
  }
  snd_pcm_hw_params_get_access(parameters.get(), &access_);
  snd_pcm_hw_params_get_period_size(parameters.get(), &period_, nullptr);
  snd_pcm_hw_params_get_buffer_size(parameters.get(), &bufferLength_);
  channels_ = static_cast<size_t>(ability.channels);
  sampleBytes_ = BytesPerSample(ability.sampleType);
  const auto blocks = static_cast<int32_t>(bufferLength_ / static_cast<snd_pcm_uframes_t>(setup.blockLength));
  if (blocks < 2) {
    return -EINVAL;
  }
  held_ = static_cast<long>(std::min(blocks, setup.periods)) * setup.blockLength;
  noBuffers_.assign(channels_, nullptr);
  makeScratch(setup.blockLength);
  return setSoftware(setup);
}

int AlsaStream::setSoftware(const AlsaSetup& setup) {
  snd_pcm_sw_params_t* allocated = nullptr;
  if (snd_pcm_sw_params_malloc(&allocated) < 0) {
    return -ENOMEM;
  }
  const std::unique_ptr<snd_pcm_sw_params_t, void (*)(snd_pcm_sw_params_t*)> software(allocated,
                                                                                      snd_pcm_sw_params_free);
  snd_pcm_t* pcm = pcm_.get();
  snd_pcm_uframes_t boundary = 0;
  const long block = setup.blockLength;
  const long wakes = plays() ? static_cast<long>(bufferLength_) - held_ + block : block;
  int error = snd_pcm_sw_params_current(pcm, allocated);
  if (error >= 0) {
    error = snd_pcm_sw_params_get_boundary(allocated, &boundary);
  }
  // It starts when it is told to, and not by being filled.
  if (error >= 0) {
    error = snd_pcm_sw_params_set_start_threshold(pcm, allocated, boundary);
  }
  if (error >= 0) {
    error = snd_pcm_sw_params_set_stop_threshold(pcm, allocated, bufferLength_);
  }
  if (error >= 0) {
    error = snd_pcm_sw_params_set_avail_min(pcm, allocated, static_cast<snd_pcm_uframes_t>(wakes));
  }
  return error < 0 ? error : snd_pcm_sw_params(pcm, allocated);
}

void AlsaStream::release() {
  snd_pcm_hw_free(pcm_.get());
}

void AlsaStream::makeScratch(int32_t blockLength) {
  scratch_.clear();
  if (access_ != SND_PCM_ACCESS_RW_INTERLEAVED && access_ != SND_PCM_ACCESS_RW_NONINTERLEAVED) {
    return;
  }
  const bool interleaved = access_ == SND_PCM_ACCESS_RW_INTERLEAVED;
  const auto sampleBytes = static_cast<size_t>(sampleBytes_);
  const size_t planeBytes = static_cast<size_t>(blockLength) * sampleBytes;
  scratch_.assign(planeBytes * channels_, std::byte{0});
  areas_.clear();
  planes_.clear();
  for (size_t channel = 0; channel < channels_; ++channel) {
    std::byte* plane = scratch_.data() + channel * (interleaved ? sampleBytes : planeBytes);
    const size_t step = interleaved ? channels_ * sampleBytes : sampleBytes;
    areas_.push_back({plane, 0, static_cast<unsigned>(step * 8)});
    planes_.push_back(plane);
  }
}

int AlsaStream::prime() {
  for (long left = held_; left > 0;) {
    const long moved = transfer(noBuffers_.data(), 0, left);
    if (moved <= 0) {
      return moved < 0 ? static_cast<int>(moved) : -EIO;
    }
    left -= moved;
  }
  return 0;
}

long AlsaStream::available() {
  const snd_pcm_sframes_t frames = snd_pcm_avail_update(pcm_.get());
  if (frames < 0 || !plays()) {
    return frames;
  }
  return std::max(0L, frames - (static_cast<long>(bufferLength_) - held_));
}

long AlsaStream::transfer(void* const* buffers, long offset, long frames) {
  return scratch_.empty() ? transferMapped(buffers, offset, frames) : transferCopied(buffers, offset, frames);
}

long AlsaStream::transferMapped(void* const* buffers, long offset, long frames) {
  const snd_pcm_sframes_t ready = snd_pcm_avail_update(pcm_.get());
  if (ready <= 0) {
    return ready;
  }
  const snd_pcm_channel_area_t* areas = nullptr;
  snd_pcm_uframes_t areaOffset = 0;
  auto count = static_cast<snd_pcm_uframes_t>(std::min<long>(frames, ready));
  const int error = snd_pcm_mmap_begin(pcm_.get(), &areas, &areaOffset, &count);
  if (error < 0) {
    return error;
  }
  copy(areas, areaOffset, buffers, offset, static_cast<long>(count));
  return snd_pcm_mmap_commit(pcm_.get(), areaOffset, count);
}

long AlsaStream::transferCopied(void* const* buffers, long offset, long frames) {
  const auto most = static_cast<long>(scratch_.size() / channels_) / sampleBytes_;
  const long count = std::min(frames, most);
  const auto wanted = static_cast<snd_pcm_uframes_t>(count);
  const bool interleaved = access_ == SND_PCM_ACCESS_RW_INTERLEAVED;
  if (plays()) {
    copy(areas_.data(), 0, buffers, offset, count);
    return interleaved ? snd_pcm_writei(pcm_.get(), scratch_.data(), wanted)
                       : snd_pcm_writen(pcm_.get(), planes_.data(), wanted);
  }
  const long moved = interleaved ? snd_pcm_readi(pcm_.get(), scratch_.data(), wanted)
                                 : snd_pcm_readn(pcm_.get(), planes_.data(), wanted);
  if (moved > 0) {
    copy(areas_.data(), 0, buffers, offset, moved);
  }
  return moved;
}

void AlsaStream::copy(const snd_pcm_channel_area_t* areas, size_t areaOffset, void* const* buffers, long offset,
                      long frames) const {
  const AlsaFrames place{areas, channels_, areaOffset, static_cast<size_t>(frames), sampleBytes_};
  if (plays()) {
    CopyToAlsa(place, buffers, static_cast<size_t>(offset));
  } else {
    CopyFromAlsa(place, buffers, static_cast<size_t>(offset));
  }
}

int AlsaStream::hardwareDelay(long& frames) {
  snd_pcm_sframes_t ready = 0;
  snd_pcm_sframes_t delay = 0;
  const int error = snd_pcm_avail_delay(pcm_.get(), &ready, &delay);
  frames = plays() ? delay - (static_cast<long>(bufferLength_) - ready) : delay - ready;
  return error;
}

}  // namespace tarnwick::platform
