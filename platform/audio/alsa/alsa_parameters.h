// ALSA's space of hardware parameters, narrowed step by step until one set-up is left. User-interface thread.
#pragma once

#include <alsa/asoundlib.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/audio/alsa/alsa_stream.h"

namespace tarnwick::platform {

// The rate of those that `fits` takes that is nearest to `wanted`: itself, one of the usual ones, `lowest` or
// `highest`. Of two equally near the higher; 0 when there is none.
uint32_t NearestAlsaRate(uint32_t wanted, uint32_t lowest, uint32_t highest, const std::function<bool(uint32_t)>& fits);

// Results: 0 or a negative errno.
class AlsaParameters {
 public:
  explicit AlsaParameters(snd_pcm_t* pcm);
  AlsaParameters(const AlsaParameters&) = delete;
  AlsaParameters& operator=(const AlsaParameters&) = delete;

  snd_pcm_hw_params_t* get() const { return space_.get(); }
  // All that the device does without conversion.
  int any();
  // Leaves one access, rate, number of channels and sample format. -EINVAL when the device has none that is wanted.
  int narrow(uint32_t rate, const AlsaChoice& choice);
  // After narrow.
  int ability(AlsaAbility& out) const;
  // After narrow: the period nearest to the block, not above it, and the smallest buffer that holds that many blocks.
  int setBlocks(int32_t blockLength, int32_t periods);

 private:
  int setAccess(bool mapped);
  int setChannels(int32_t wanted);
  int setFormat(const std::vector<int32_t>& wanted);

  struct Freeing {
    void operator()(snd_pcm_hw_params_t* space) const { snd_pcm_hw_params_free(space); }
  };
  snd_pcm_t* pcm_;
  std::unique_ptr<snd_pcm_hw_params_t, Freeing> space_;
  int32_t sampleType_ = 0;
};

}  // namespace tarnwick::platform
