// Wakes a thread that waits on descriptors.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace tarnwick::platform {

class AlsaWake {
 public:
  AlsaWake() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
      throw std::system_error(errno, std::generic_category());
    }
  }
  AlsaWake(const AlsaWake&) = delete;
  AlsaWake& operator=(const AlsaWake&) = delete;
  ~AlsaWake() { close(descriptor_); }

  // Readable from the signal on until it is cleared.
  int descriptor() const { return descriptor_; }
  // Any thread, real-time safe.
  void signal() noexcept {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
  }
  void clear() noexcept {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(descriptor_, &count, sizeof count);
  }

 private:
  const int descriptor_;
};

}  // namespace tarnwick::platform
