// A ring of blocks of samples between two threads: one writes, one reads, neither waits for the other.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tarnwick::sound {

// The storage. Each thread has an end of its own, taken once and moved to where it is used; the ring outlives both.
// Built while neither is in use; may throw std::bad_alloc. What the ends do is real-time safe.
class BlockRing {
 public:
  // `blocks` (1 or more) of `blockSamples` samples each.
  BlockRing(size_t blocks, size_t blockSamples)
      : blocks_(blocks), blockSamples_(blockSamples), samples_(blocks * blockSamples) {}
  BlockRing(const BlockRing&) = delete;
  BlockRing& operator=(const BlockRing&) = delete;

  size_t blocks() const { return blocks_; }

  // The writing thread's end.
  class Writer {
   public:
    explicit Writer(BlockRing& ring) : ring_(&ring) {}
    Writer(Writer&& other) noexcept : ring_(std::exchange(other.ring_, nullptr)) {}
    Writer& operator=(Writer&& other) noexcept {
      ring_ = std::exchange(other.ring_, nullptr);
      return *this;
    }

    // Room for the next block, the same until commit; null while the ring is full.
    float* acquire() noexcept { return waiting() == ring_->blocks_ ? nullptr : ring_->block(own()); }
    // Hands the block on that acquire gave room for. Its samples are released here, for Reader::waiting to acquire.
    void commit() noexcept { ring_->written_.store(own() + 1, std::memory_order_release); }
    // Blocks that the reader has not let go of yet. Acquires what it read last, which Reader::pop released.
    size_t waiting() const noexcept {
      return static_cast<size_t>(own() - ring_->read_.load(std::memory_order_acquire));
    }

   private:
    uint64_t own() const noexcept { return ring_->written_.load(std::memory_order_relaxed); }
    BlockRing* ring_;
  };

  // The reading thread's end.
  class Reader {
   public:
    explicit Reader(BlockRing& ring) : ring_(&ring) {}
    Reader(Reader&& other) noexcept : ring_(std::exchange(other.ring_, nullptr)) {}
    Reader& operator=(Reader&& other) noexcept {
      ring_ = std::exchange(other.ring_, nullptr);
      return *this;
    }

    // The oldest block, the same until pop; null while the ring is empty.
    const float* front() const noexcept { return waiting() == 0 ? nullptr : ring_->block(own()); }
    // Lets the oldest block go. The reading of it is released here, for Writer::waiting to acquire.
    void pop() noexcept { ring_->read_.store(own() + 1, std::memory_order_release); }
    // Blocks to be read. Acquires their samples, which Writer::commit released.
    size_t waiting() const noexcept {
      return static_cast<size_t>(ring_->written_.load(std::memory_order_acquire) - own());
    }

   private:
    uint64_t own() const noexcept { return ring_->read_.load(std::memory_order_relaxed); }
    BlockRing* ring_;
  };

 private:
  static constexpr size_t kCacheLine = 64;
  float* block(uint64_t count) noexcept {
    return samples_.data() + static_cast<size_t>(count % blocks_) * blockSamples_;
  }

  const size_t blocks_;
  const size_t blockSamples_;
  std::vector<float> samples_;  // the writer writes the blocks from written_ on, the reader reads those before it
  alignas(kCacheLine) std::atomic<uint64_t> written_{0};  // blocks so far; the writer writes, the reader reads
  alignas(kCacheLine) std::atomic<uint64_t> read_{0};     // blocks so far; the reader writes, the writer reads
  static_assert(std::atomic<uint64_t>::is_always_lock_free);
};

}  // namespace tarnwick::sound
