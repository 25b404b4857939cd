// One direction of an ALSA device: opening it, finding out what it can do, setting it up, and moving frames.
#pragma once

#include <alsa/asoundlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/alsa/alsa_pcm.h"

namespace tarnwick::platform {

// A direction's abilities at a rate.
struct AlsaAbility {
  int32_t channels = 0;
  int32_t sampleType = 0;
  int32_t minimumBlock = 0;  // frames
  int32_t maximumBlock = 0;
};

struct AlsaSetup {
  uint32_t rate = 0;
  int32_t blockLength = 0;
  int32_t periods = 2;  // blocks that playback holds
};

// Results: 0 or a count, or a negative errno. User-interface thread, but for what AlsaPcm has as well.
class AlsaStream {
 public:
  // Null and `error` when it cannot be opened, -EBUSY when another program has it. Does not wait for it.
  static std::unique_ptr<AlsaStream> open(const std::string& pcm, AlsaDirection direction, int& error);

  AlsaStream(const AlsaStream&) = delete;
  AlsaStream& operator=(const AlsaStream&) = delete;

  // Without conversion.
  bool hasRate(uint32_t rate) const;
  // Rates between which there are some that it has; false when it does not tell.
  bool rateRange(uint32_t& lowest, uint32_t& highest) const;
  int probe(uint32_t rate, const AlsaChoice& choice, AlsaAbility& out) const;
  // Makes it ready for prepare. Takes memory for the transfers.
  int configure(const AlsaSetup& setup, const AlsaChoice& choice);
  // Gives the device's buffer back.
  void release();

  // After configure.
  size_t channels() const { return channels_; }
  long period() const { return static_cast<long>(period_); }
  // Frames that playback holds ahead.
  long held() const { return held_; }
  snd_pcm_t* pcm() const { return pcm_.get(); }

  // See AlsaPcm.
  int prime();
  long available();
  long transfer(void* const* buffers, long offset, long frames);
  int hardwareDelay(long& frames);

 private:
  struct Closing {
    void operator()(snd_pcm_t* pcm) const { snd_pcm_close(pcm); }
  };

  AlsaStream(snd_pcm_t* pcm, AlsaDirection direction) : pcm_(pcm), direction_(direction) {}
  bool plays() const { return direction_ == AlsaDirection::playback; }
  int setSoftware(const AlsaSetup& setup);
  void makeScratch(int32_t blockLength);
  long transferMapped(void* const* buffers, long offset, long frames);
  long transferCopied(void* const* buffers, long offset, long frames);
  void copy(const snd_pcm_channel_area_t* areas, size_t areaOffset, void* const* buffers, long offset,
            long frames) const;

  std::unique_ptr<snd_pcm_t, Closing> pcm_;
  const AlsaDirection direction_;
  snd_pcm_access_t access_ = SND_PCM_ACCESS_RW_INTERLEAVED;
  size_t channels_ = 0;
  int32_t sampleBytes_ = 4;
  snd_pcm_uframes_t period_ = 0;
  snd_pcm_uframes_t bufferLength_ = 0;
  long held_ = 0;
  std::vector<void*> noBuffers_;  // one null a channel

  // For a device that does not map its memory.
  std::vector<std::byte> scratch_;             // one block
  std::vector<snd_pcm_channel_area_t> areas_;  // of it
  std::vector<void*> planes_;                  // of it, by channel
};

}  // namespace tarnwick::platform
