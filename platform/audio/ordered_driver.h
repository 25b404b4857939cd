// The order of a driver's operations, kept once for all back ends.
#pragma once

#include <vector>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// A driver that may rely on the order of its calls. Operations out of order never reach it:
//   ASE_NotPresent        everything before ASIOInit has succeeded and after ASIOExit
//   ASE_InvalidMode       initialised, created or started a second time; started or disposed of without buffers
//   ASE_InvalidParameter  no channel, a channel that does not exist or comes twice, a block length outside the limits,
//                         no bufferSwitch
//   ASE_OK                ASIOStop while stopped
// ASIODisposeBuffers and ASIOExit end what runs. What throws for want of memory or threads is ASE_NoMemory.
//
// A derived class calls ASIOExit in its destructor, while its hooks can still be called.
class OrderedDriver : public AudioDriver {
 public:
  AsioError ASIOInit(const AudioInitRequest& request) final;
  AsioError ASIOExit() final;
  AsioError ASIOGetChannels(int32_t& inputs, int32_t& outputs) final;
  AsioError ASIOGetBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) final;
  AsioError ASIOGetLatencies(int32_t& input, int32_t& output) final;
  AsioError ASIOCreateBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                              const AudioCallbacks& callbacks) final;
  AsioError ASIOGetChannelInfo(AudioChannelInfo& info) final;
  // A block's outputs leave with its bufferSwitch.
  AsioError ASIOOutputReady() noexcept override { return ASE_NotPresent; }
  AsioError ASIOStart() final;
  AsioError ASIOStop() final;
  AsioError ASIODisposeBuffers() final;
  AsioError ASIOControlPanel() final;

 protected:
  // The back end's part of each operation. They may throw std::bad_alloc and std::system_error.
  virtual AsioError init(const AudioInitRequest& request) = 0;
  // After an init, also after one that failed or threw. Without buffers.
  virtual void exit() = 0;
  // Between init and exit: the reason why the device cannot be used (any more). It is then the answer to everything but
  // what ends the session.
  virtual AsioError state() const { return ASE_OK; }
  virtual AsioError getChannels(int32_t& inputs, int32_t& outputs) = 0;
  virtual AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) = 0;
  virtual AsioError getLatencies(int32_t& input, int32_t& output) = 0;
  virtual AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                  const AudioCallbacks& callbacks) = 0;
  // Where channels are judged here, `isActive` is set already and `channelGroup` is 0.
  virtual AsioError getChannelInfo(AudioChannelInfo& info) = 0;
  virtual AsioError start() = 0;
  virtual AsioError stop() = 0;            // while started
  virtual AsioError disposeBuffers() = 0;  // while created and stopped
  virtual AsioError controlPanel() { return ASE_NotPresent; }
  // Whether channels and block lengths are judged here, by getChannels and getBufferSize; else the device does.
  virtual bool judgesHere() const { return true; }

 private:
  AsioError ready() const { return initialised_ ? state() : ASE_NotPresent; }
  AsioError judge(const AudioBufferInfo* infos, int32_t count, int32_t blockLength);

  bool initialised_ = false;
  bool created_ = false;
  bool started_ = false;
  std::vector<bool> active_[2];  // outputs, inputs: the channels that have buffers
};

}  // namespace tarnwick::platform
