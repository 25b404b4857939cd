// One loaded ASIO driver.
#pragma once

#include <atomic>
#include <memory>

#include "platform/audio/asio/asio_back_end.h"
#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/asio/asio_registry.h"
#include "platform/audio/asio/asio_report.h"
#include "platform/audio/asio/asio_thread.h"
#include "platform/audio/ordered_driver.h"

namespace tarnwick::platform {

// The operations as calls on the driver's thread. Channels, block lengths and everything else but the order of the
// calls are judged by the driver itself.
class AsioDriver final : public OrderedDriver {
 public:
  // Null when the driver cannot be made, or is still busy with a call that it was given up for.
  static std::unique_ptr<AsioDriver> load(const AsioEntry& entry, const AsioOptions& options);
  AsioDriver(const AsioDriver&) = delete;
  AsioDriver& operator=(const AsioDriver&) = delete;
  ~AsioDriver() override;

  // Before ASIOCreateBuffers a question, asked on the driver's thread; from then on, on the calling thread, as
  // real-time safe as the driver's own.
  AsioError ASIOOutputReady() noexcept override;

 private:
  struct Instance;
  AsioDriver(const AsioEntry& entry, const AsioOptions& options);

  AsioError init(const AudioInitRequest& request) override;
  void exit() override { online_.store(false); }
  AsioError getChannels(int32_t& inputs, int32_t& outputs) override;
  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) override;
  AsioError getLatencies(int32_t& input, int32_t& output) override;
  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                          const AudioCallbacks& callbacks) override;
  AsioError getChannelInfo(AudioChannelInfo& info) override;
  AsioError start() override;
  AsioError stop() override;
  AsioError disposeBuffers() override;
  AsioError controlPanel() override;
  bool judgesHere() const override { return false; }

  template <class Answer, class Call>
  AsioError call(std::chrono::milliseconds limit, Answer& answer, Call work);
  template <class Call>
  AsioError call(std::chrono::milliseconds limit, Call work);
  void giveUp();

  const AsioEntry entry_;
  const AsioOptions options_;
  std::shared_ptr<Instance> instance_;
  std::shared_ptr<AsioThread> thread_;
  // Between init and exit. Written by the user-interface thread, read by ASIOOutputReady.
  std::atomic<bool> online_{false};
  // From createBuffers on. Written by the user-interface thread before a block can come, read by ASIOOutputReady.
  std::atomic<bool> direct_{false};
  bool givenUp_ = false;
  std::unique_ptr<AsioReport> report_;  // while started
};

}  // namespace tarnwick::platform
