// One loaded ALSA device.
#pragma once

#include <memory>

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/alsa/alsa_duplex.h"
#include "platform/audio/alsa/alsa_report.h"
#include "platform/audio/alsa/alsa_stream.h"
#include "platform/audio/alsa/alsa_thread.h"
#include "platform/audio/ordered_driver.h"

namespace tarnwick::platform {

class AlsaDriver final : public OrderedDriver {
 public:
  AlsaDriver(AlsaDevice device, BackEndHooks hooks);
  AlsaDriver(const AlsaDriver&) = delete;
  AlsaDriver& operator=(const AlsaDriver&) = delete;
  ~AlsaDriver() override;

 private:
  struct Session;

  AsioError init(const AudioInitRequest& request) override;
  void exit() override;
  AsioError getChannels(int32_t& inputs, int32_t& outputs) override;
  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) override;
  // Input: a block. Output: what playback holds beside the block being made. Both with the hardware's own delay, once
  // that is known.
  AsioError getLatencies(int32_t& input, int32_t& output) override;
  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                          const AudioCallbacks& callbacks) override;
  AsioError getChannelInfo(AudioChannelInfo& info) override;
  AsioError start() override;
  AsioError stop() override;
  AsioError disposeBuffers() override;

  bool openStreams();
  bool chooseRate(double wanted);
  bool probe();
  AsioError configure(int32_t blockLength);
  void say(const std::wstring& text) const;

  const AlsaDevice device_;
  const BackEndHooks hooks_;
  std::unique_ptr<AlsaStream> captureStream_;  // while initialised
  std::unique_ptr<AlsaStream> playbackStream_;
  uint32_t rate_ = 0;
  bool tellsRate_ = false;
  AlsaAbility capture_;
  AlsaAbility playback_;
  std::unique_ptr<Session> session_;  // while there are buffers
};

}  // namespace tarnwick::platform
