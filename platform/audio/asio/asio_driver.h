// One loaded ASIO driver. All functions: user-interface thread, but for outputReady.
#pragma once

#include <atomic>
#include <memory>

#include "platform/audio/asio/asio_back_end.h"
#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/asio/asio_registry.h"
#include "platform/audio/asio/asio_thread.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// The operations as audio_driver.h describes them, as calls on the driver's thread.
class AsioDriver : public std::enable_shared_from_this<AsioDriver> {
 public:
  // Null when the driver cannot be made, or is still busy with a call that it was given up for.
  static std::shared_ptr<AsioDriver> load(const AsioEntry& entry, const AsioOptions& options);
  AsioDriver(const AsioDriver&) = delete;
  AsioDriver& operator=(const AsioDriver&) = delete;
  ~AsioDriver() = default;
  // Ends the session if there is one and releases the driver. Once, before the last owner goes.
  void unload();

  AsioError init(const AudioInitRequest& request);
  AsioError exit();
  AsioError getChannels(int32_t& inputs, int32_t& outputs);
  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity);
  AsioError getLatencies(int32_t& input, int32_t& output);
  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength, const AudioCallbacks& callbacks);
  AsioError getChannelInfo(AudioChannelInfo& info);
  // Before createBuffers a question, asked on the driver's thread; from then on, on the calling thread, as real-time
  // safe as the driver's own.
  AsioError outputReady() noexcept;
  AsioError start();
  AsioError stop();
  AsioError disposeBuffers();
  AsioError controlPanel();

 private:
  struct Instance;
  AsioDriver(const AsioEntry& entry, const AsioOptions& options);
  template <class Answer, class Call>
  AsioError call(std::chrono::milliseconds limit, Answer& answer, Call work);
  template <class Call>
  AsioError call(std::chrono::milliseconds limit, Call work);
  void giveUp();
  AsioError askOutputReady() noexcept;

  const AsioEntry entry_;
  const AsioOptions options_;
  std::shared_ptr<Instance> instance_;
  std::shared_ptr<AsioThread> thread_;
  // Between init and exit. Written by the user-interface thread, read by outputReady.
  std::atomic<bool> online_{false};
  // From createBuffers on. Written by the user-interface thread before a block can come, read by outputReady.
  std::atomic<bool> direct_{false};
  bool hasBuffers_ = false;
  bool started_ = false;
  bool givenUp_ = false;
};

}  // namespace tarnwick::platform
