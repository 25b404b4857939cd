// A bounded queue from many threads to one: the messages that the audio thread and others post to the user-interface
// thread. Each one matters; a full ring refuses the newest.
//
// The algorithm is Dmitry Vyukov's bounded MPMC queue (1024cores.net, "Bounded MPMC queue"), with the consumer's side
// reduced to one thread. Each cell counts its turns: a cell is free for position p when its turn is p, and filled when
// its turn is p + 1.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace tarnwick::platform {

template <class Value, size_t capacity>
class MessageRing {
  static_assert(capacity >= 2 && (capacity & (capacity - 1)) == 0, "positions wrap by masking");
  static_assert(std::is_trivially_copyable_v<Value>, "copying may not allocate");
  static_assert(std::atomic<size_t>::is_always_lock_free);

 public:
  MessageRing() noexcept {
    for (size_t k = 0; k < capacity; ++k) {
      cells_[k].turn.store(k, std::memory_order_relaxed);
    }
  }
  MessageRing(const MessageRing&) = delete;
  MessageRing& operator=(const MessageRing&) = delete;

  // Any thread, real-time safe: never waits for another thread. False when the ring is full.
  bool push(const Value& value) noexcept {
    size_t position = head_.load(std::memory_order_relaxed);
    for (;;) {
      Cell& cell = cells_[position & (capacity - 1)];
      const size_t turn = cell.turn.load(std::memory_order_acquire);  // pairs with the release in pop: it is free
      const auto ahead = static_cast<std::ptrdiff_t>(turn - position);
      if (ahead == 0) {
        if (head_.compare_exchange_weak(position, position + 1, std::memory_order_relaxed)) {
          cell.value = value;
          cell.turn.store(position + 1, std::memory_order_release);  // pairs with the acquire in pop: it is filled
          return true;
        }
      } else if (ahead < 0) {
        return false;
      } else {
        position = head_.load(std::memory_order_relaxed);
      }
    }
  }

  // The one consumer. False when nothing is ready; a value whose producer was interrupted while it filled its cell
  // holds back the later ones until that producer goes on.
  bool pop(Value& value) noexcept {
    Cell& cell = cells_[tail_ & (capacity - 1)];
    if (cell.turn.load(std::memory_order_acquire) != tail_ + 1) {
      return false;
    }
    value = cell.value;
    cell.turn.store(tail_ + capacity, std::memory_order_release);
    ++tail_;
    return true;
  }

 private:
  struct Cell {
    std::atomic<size_t> turn;
    Value value;
  };

  std::array<Cell, capacity> cells_;
  alignas(64) std::atomic<size_t> head_{0};  // next position to fill, advanced by the producers
  alignas(64) size_t tail_ = 0;              // next position to take, the consumer's own
};

}  // namespace tarnwick::platform
