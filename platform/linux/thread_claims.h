// Which threads of ours have chosen their processors themselves. Linux keeps a processor set for each thread and none
// for the process, so whoever limits "the process" must know which threads to leave alone.
//
// A slot belongs to one thread: that thread alone writes it, until the slot is freed after the thread's end. A thread
// writes its mask before it asks the kernel for it. So whoever has changed a thread and then finds a claim can repair
// what it did: it sets the claimed mask, and when the claim is the same afterwards, the thread's own request, if one is
// still to come, comes later.
#pragma once

#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace tarnwick::platform {

class ThreadClaims {
 public:
  static constexpr size_t kSlots = 512;

  // Notes the calling thread's own choice. Real-time safe. With no slot left the thread counts as one without a choice.
  void claim(uint64_t mask) noexcept {
    // The slot of the calling thread; checked before use, as it may have been freed.
    static thread_local constinit size_t mine = kSlots;
    static thread_local constinit uint64_t identity = 0;
    if (mine < kSlots && slots_[mine].owner.load() == identity) {
      slots_[mine].mask.store(mask);
      return;
    }
    identity = identityNow();
    for (mine = 0; mine < kSlots; ++mine) {
      uint64_t free = 0;
      if (slots_[mine].owner.compare_exchange_strong(free, kReserved)) {
        slots_[mine].mask.store(mask);
        slots_[mine].owner.store(identity);
        return;
      }
    }
  }

  // A thread's own choice; nothing when it has made none.
  std::optional<uint64_t> maskOf(pid_t thread) const noexcept {
    for (const Slot& slot : slots_) {
      const uint64_t owner = slot.owner.load();
      if (owner != 0 && owner != kReserved && threadOf(owner) == thread) {
        return slot.mask.load();
      }
    }
    return std::nullopt;
  }

  // Frees the slots of threads that have ended. `startOf(thread)` tells when a thread of this process began, in
  // milliseconds since the machine's start; nothing when there is none of that id. One that began after the claim is
  // another thread that got the same id.
  template <class StartOf>
  void prune(StartOf startOf) {
    for (Slot& slot : slots_) {
      uint64_t owner = slot.owner.load();
      if (owner == 0 || owner == kReserved) {
        continue;
      }
      const std::optional<uint64_t> start = startOf(threadOf(owner));
      if (!start || *start > (owner >> kIdBits)) {
        slot.owner.compare_exchange_strong(owner, 0);
      }
    }
  }

 private:
  struct Slot {
    std::atomic<uint64_t> owner{0};  // 0 = free; thread id, and above it the time of the claim
    std::atomic<uint64_t> mask{0};
  };
  static_assert(std::atomic<uint64_t>::is_always_lock_free);

  static constexpr unsigned kIdBits = 22;  // the kernel's ids are below 2^22
  static constexpr uint64_t kReserved = ~uint64_t{0};

  static pid_t threadOf(uint64_t owner) noexcept { return static_cast<pid_t>(owner & ((uint64_t{1} << kIdBits) - 1)); }

  static uint64_t identityNow() noexcept {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const uint64_t milliseconds =
        static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1'000'000;
    return milliseconds << kIdBits | static_cast<uint64_t>(gettid());
  }

  std::array<Slot, kSlots> slots_{};
};

inline constinit ThreadClaims threadClaims;

}  // namespace tarnwick::platform
