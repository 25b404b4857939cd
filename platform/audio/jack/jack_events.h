// The server's news for a running session, carried from libjack's threads, which must not be held up, to one of ours
// that may log.
#pragma once

#include <semaphore.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "platform/audio/audio_back_ends.h"

namespace tarnwick::platform {

enum class JackLoss : int32_t { none, serverEnded, periodChanged, rateChanged, freewheeling };

class JackEvents {
 public:
  explicit JackEvents(BackEndHooks hooks);
  JackEvents(const JackEvents&) = delete;
  JackEvents& operator=(const JackEvents&) = delete;
  ~JackEvents();

  // From libjack's threads, the block's included: these neither wait nor allocate.
  // The first loss is the one that counts. `value` is the new period or rate, `words` the server's own, may be null.
  void lose(JackLoss loss, uint32_t value, const char* words) noexcept;
  void xrun() noexcept;
  bool lost() const noexcept { return loss_.load(std::memory_order_acquire) != JackLoss::none; }

  // From the user-interface thread.
  // Counts xruns anew and passes on what comes from now on, a loss that has come already included. False when the
  // system has no thread for it.
  bool watch();
  // No hook runs once this has returned.
  void unwatch();
  void log(const std::wstring& line) const;

 private:
  using Clock = std::chrono::steady_clock;

  void run();
  uint64_t tellXruns(uint64_t& told) const;  // the total
  void wait(bool xrunsUntold, Clock::time_point until);
  std::wstring reason() const;

  const BackEndHooks hooks_;
  sem_t wake_;
  std::thread thread_;

  // Written by libjack's threads, read by the watching one.
  std::atomic<bool> lossClaimed_{false};  // the one who sets it fills the next two, then loss_
  uint32_t lossValue_ = 0;
  std::array<char, 128> lossWords_{};
  std::atomic<JackLoss> loss_{JackLoss::none};
  std::atomic<uint64_t> xruns_{0};

  std::atomic<bool> ending_{false};  // written by the user-interface thread
};

}  // namespace tarnwick::platform
