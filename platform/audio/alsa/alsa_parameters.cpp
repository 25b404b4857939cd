#include "platform/audio/alsa/alsa_parameters.h"

#include <algorithm>
#include <cerrno>

namespace tarnwick::platform {
namespace {

constexpr uint32_t kUsualRates[] = {8000,  11025, 16000, 22050,  24000,  32000,  44100, 48000,
                                    64000, 88200, 96000, 176400, 192000, 352800, 384000};
// More channels than this no card has: it is a plug-in that takes any number.
constexpr unsigned kMostChannels = 256;
constexpr unsigned kChannelsOfAny = 2;
constexpr snd_pcm_uframes_t kShortestBlock = 8;
constexpr snd_pcm_uframes_t kLongestBlock = 16384;

// Memory of the device itself before memory that is copied once more.
constexpr snd_pcm_access_t kAccesses[] = {SND_PCM_ACCESS_MMAP_NONINTERLEAVED, SND_PCM_ACCESS_MMAP_INTERLEAVED,
                                          SND_PCM_ACCESS_MMAP_COMPLEX, SND_PCM_ACCESS_RW_NONINTERLEAVED,
                                          SND_PCM_ACCESS_RW_INTERLEAVED};
constexpr size_t kMappedAccesses = 3;

struct Format {
  int32_t sampleType;
  snd_pcm_format_t format;
};
// Float, the host's own, first: a device that takes it loses nothing by it. Then by depth; 24 bits in three bytes are
// what USB interfaces have, all others with that depth have it in 32.
constexpr Format kFormats[] = {{kFloat32LSB, SND_PCM_FORMAT_FLOAT_LE},
                               {kInt32LSB, SND_PCM_FORMAT_S32_LE},
                               {kInt24LSB, SND_PCM_FORMAT_S24_3LE},
                               {kInt16LSB, SND_PCM_FORMAT_S16_LE}};

snd_pcm_format_t formatOf(int32_t sampleType) {
  const auto* found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                   [sampleType](const Format& format) { return format.sampleType == sampleType; });
  return found == std::end(kFormats) ? SND_PCM_FORMAT_UNKNOWN : found->format;
}

}  // namespace

uint32_t NearestAlsaRate(uint32_t wanted, uint32_t lowest, uint32_t highest,
                         const std::function<bool(uint32_t)>& fits) {
  if (fits(wanted)) {
    return wanted;
  }
  const auto distance = [wanted](uint32_t rate) { return rate > wanted ? rate - wanted : wanted - rate; };
  uint32_t nearest = 0;
  const auto consider = [&](uint32_t rate) {
    const bool nearer =
        nearest == 0 || distance(rate) < distance(nearest) || (distance(rate) == distance(nearest) && rate > nearest);
    if (rate > 0 && nearer && fits(rate)) {
      nearest = rate;
    }
  };
  std::for_each(std::begin(kUsualRates), std::end(kUsualRates), consider);
  consider(lowest);
  consider(highest);
  return nearest;
}

AlsaParameters::AlsaParameters(snd_pcm_t* pcm) : pcm_(pcm) {
  snd_pcm_hw_params_t* allocated = nullptr;
  snd_pcm_hw_params_malloc(&allocated);
  space_.reset(allocated);
}

int AlsaParameters::any() {
  if (!space_) {
    return -ENOMEM;
  }
  const int error = snd_pcm_hw_params_any(pcm_, get());
  return error < 0 ? error : snd_pcm_hw_params_set_rate_resample(pcm_, get(), 0);
}

int AlsaParameters::narrow(uint32_t rate, const AlsaChoice& choice) {
  int error = any();
  if (error >= 0) {
    error = setAccess(choice.mapped);
  }
  // The rate before the channels: a card may have more of them at a lower rate.
  if (error >= 0) {
    error = snd_pcm_hw_params_set_rate(pcm_, get(), rate, 0);
  }
  if (error >= 0) {
    error = setChannels(choice.channels);
  }
  return error < 0 ? error : setFormat(choice.sampleTypes);
}

int AlsaParameters::setAccess(bool mapped) {
  for (size_t k = mapped ? 0 : kMappedAccesses; k < std::size(kAccesses); ++k) {
    if (snd_pcm_hw_params_test_access(pcm_, get(), kAccesses[k]) == 0) {
      return snd_pcm_hw_params_set_access(pcm_, get(), kAccesses[k]);
    }
  }
  return -EINVAL;
}

int AlsaParameters::setChannels(int32_t wanted) {
  unsigned most = 0;
  const int error = snd_pcm_hw_params_get_channels_max(get(), &most);
  if (error < 0) {
    return error;
  }
  auto channels = static_cast<unsigned>(wanted);
  if (wanted <= 0) {
    channels = most > kMostChannels ? kChannelsOfAny : most;
  }
  return snd_pcm_hw_params_set_channels(pcm_, get(), channels);
}

int AlsaParameters::setFormat(const std::vector<int32_t>& wanted) {
  const auto tries = [this](int32_t sampleType) {
    const snd_pcm_format_t format = formatOf(sampleType);
    sampleType_ = sampleType;
    return format != SND_PCM_FORMAT_UNKNOWN && snd_pcm_hw_params_test_format(pcm_, get(), format) == 0;
  };
  const bool has = wanted.empty() ? std::any_of(std::begin(kFormats), std::end(kFormats),
                                                [&](const Format& format) { return tries(format.sampleType); })
                                  : std::any_of(wanted.begin(), wanted.end(), tries);
  return has ? snd_pcm_hw_params_set_format(pcm_, get(), formatOf(sampleType_)) : -EINVAL;
}

int AlsaParameters::ability(AlsaAbility& out) const {
  unsigned channels = 0;
  snd_pcm_uframes_t shortest = 0;
  snd_pcm_uframes_t buffer = 0;
  int error = snd_pcm_hw_params_get_channels(get(), &channels);
  if (error >= 0) {
    error = snd_pcm_hw_params_get_period_size_min(get(), &shortest, nullptr);
  }
  if (error >= 0) {
    error = snd_pcm_hw_params_get_buffer_size_max(get(), &buffer);
  }
  out.channels = static_cast<int32_t>(channels);
  out.sampleType = sampleType_;
  // A block of several periods is possible, one of less than a period is not.
  out.minimumBlock = static_cast<int32_t>(std::clamp(shortest, kShortestBlock, kLongestBlock));
  out.maximumBlock = static_cast<int32_t>(std::min(buffer / 2, kLongestBlock));
  return error < 0 ? error : 0;
}

int AlsaParameters::setBlocks(int32_t blockLength, int32_t periods) {
  const auto block = static_cast<snd_pcm_uframes_t>(blockLength);
  int error = 0;
  if (snd_pcm_hw_params_test_period_size(pcm_, get(), block, 0) == 0) {
    error = snd_pcm_hw_params_set_period_size(pcm_, get(), block, 0);
  } else {
    snd_pcm_uframes_t most = block;
    int direction = 0;
    error = snd_pcm_hw_params_set_period_size_max(pcm_, get(), &most, &direction);
    if (error >= 0) {
      error = snd_pcm_hw_params_set_period_size_last(pcm_, get(), &most, &direction);
    }
  }
  if (error < 0) {
    return error;
  }
  snd_pcm_uframes_t longest = 0;
  error = snd_pcm_hw_params_get_buffer_size_max(get(), &longest);
  if (error < 0) {
    return error;
  }
  snd_pcm_uframes_t buffer = std::min(block * static_cast<snd_pcm_uframes_t>(periods), longest);
  error = snd_pcm_hw_params_set_buffer_size_min(pcm_, get(), &buffer);
  return error < 0 ? error : snd_pcm_hw_params_set_buffer_size_first(pcm_, get(), &buffer);
}

}  // namespace tarnwick::platform
