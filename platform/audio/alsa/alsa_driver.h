// One loaded ALSA device: the operations in the order that a host calls them. User-interface thread.
#pragma once

#include <memory>

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/alsa/alsa_duplex.h"
#include "platform/audio/alsa/alsa_report.h"
#include "platform/audio/alsa/alsa_stream.h"
#include "platform/audio/alsa/alsa_thread.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// Operations out of order are answered as the virtual device answers them: ASE_NotPresent before init,
// ASE_InvalidMode before createBuffers or when created or started a second time; stop while stopped is ASE_OK.
// disposeBuffers and exit stop a running device.
class AlsaDriver {
 public:
  AlsaDriver(AlsaDevice device, AlsaHooks hooks);
  AlsaDriver(const AlsaDriver&) = delete;
  AlsaDriver& operator=(const AlsaDriver&) = delete;
  ~AlsaDriver();

  AsioError init(const AudioInitRequest& request);
  AsioError exit();
  AsioError getChannels(int32_t& inputs, int32_t& outputs) const;
  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) const;
  // Input: a block. Output: what playback holds beside the block being made. Both with the hardware's own delay, once
  // that is known.
  AsioError getLatencies(int32_t& input, int32_t& output) const;
  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength, const AudioCallbacks& callbacks);
  AsioError getChannelInfo(AudioChannelInfo& info) const;
  AsioError start();
  AsioError stop();
  AsioError disposeBuffers();

 private:
  struct Session;

  bool openStreams();
  bool chooseRate(double wanted);
  bool probe();
  AsioError configure(int32_t blockLength);
  void say(const std::wstring& text) const;
  int32_t channelsOf(bool isInput) const { return isInput ? capture_.channels : playback_.channels; }

  const AlsaDevice device_;
  const AlsaHooks hooks_;
  std::unique_ptr<AlsaStream> captureStream_;  // while initialised
  std::unique_ptr<AlsaStream> playbackStream_;
  bool initialised_ = false;
  uint32_t rate_ = 0;
  bool tellsRate_ = false;
  AlsaAbility capture_;
  AlsaAbility playback_;
  std::unique_ptr<Session> session_;  // while there are buffers
};

}  // namespace tarnwick::platform
