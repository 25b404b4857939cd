// Tells whether a block is running. The callback enters and leaves; whoever takes something away from it clears the
// flag that led the callback there and then waits until no block that may have seen the flag set is still running.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace tarnwick::engine {

class CallbackEpoch {
 public:
  // Callback. A ticket to leave with; 0 when another thread is inside already: the caller must return at once.
  // Real-time safe.
  uint32_t enter() noexcept {
    // Sequentially consistent, as are the flags' stores: either this block sees a flag cleared, or its clearing thread
    // sees this block running.
    uint32_t nobody = 0;
    const uint32_t ticket = tickets_.load(std::memory_order_relaxed);
    return inside_.compare_exchange_strong(nobody, ticket, std::memory_order_seq_cst) ? ticket : 0;
  }
  // Callback. Does nothing for a block that was abandoned. Real-time safe.
  void leave(uint32_t ticket) noexcept {
    if (ticket == tickets_.load(std::memory_order_relaxed)) {
      blocks_.fetch_add(1, std::memory_order_release);
      inside_.compare_exchange_strong(ticket, 0, std::memory_order_seq_cst);
    }
  }
  // Blocks left so far. Pairs with leave: what a block wrote is visible once its number is seen.
  uint64_t blocksLeft() const noexcept { return blocks_.load(std::memory_order_acquire); }
  bool inside() const noexcept { return inside_.load(std::memory_order_seq_cst) != 0; }
  // For a block whose thread will not come back: the next one may enter. Only while no block is admitted.
  void abandon() noexcept {
    tickets_.fetch_add(1, std::memory_order_seq_cst);
    inside_.store(0, std::memory_order_seq_cst);
  }

 private:
  alignas(64) std::atomic<uint32_t> inside_{0};  // the ticket of the block that is running
  std::atomic<uint32_t> tickets_{1};             // another one after each that was abandoned
  std::atomic<uint64_t> blocks_{0};
};

// Returns once no block is running that began before the call. Any thread but the callback's; sleeps between looks.
void AwaitCallbackIdle(const CallbackEpoch& epoch);
// The same, but only for so long: false when such a block is still running after it.
bool AwaitCallbackIdle(const CallbackEpoch& epoch, std::chrono::milliseconds limit);

}  // namespace tarnwick::engine
