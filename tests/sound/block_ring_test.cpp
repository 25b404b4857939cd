#include "sound/block_ring.h"

#include <gtest/gtest.h>

#include <thread>

namespace tarnwick::sound {
namespace {

TEST(BlockRing, IsEmptyThenFullThenEmptyAgain) {
  BlockRing ring(3, 2);
  BlockRing::Writer writer(ring);
  BlockRing::Reader reader(ring);
  for (int lap = 0; lap < 5; ++lap) {
    EXPECT_EQ(reader.front(), nullptr);
    for (size_t block = 0; block < 3; ++block) {
      EXPECT_EQ(writer.waiting(), block);
      float* room = writer.acquire();
      ASSERT_NE(room, nullptr);
      EXPECT_EQ(writer.acquire(), room) << "until it is committed";
      room[0] = room[1] = static_cast<float>(block);
      writer.commit();
    }
    EXPECT_EQ(writer.acquire(), nullptr);
    for (size_t block = 0; block < 3; ++block) {
      EXPECT_EQ(reader.waiting(), 3 - block);
      ASSERT_NE(reader.front(), nullptr);
      EXPECT_EQ(reader.front()[1], static_cast<float>(block));
      reader.pop();
    }
  }
}

// Blocks of several cache lines, every sample of a block derived from its number: one that is torn, lost or doubled has
// other samples.
TEST(BlockRing, TwoThreadsPassWholeBlocksInOrder) {
  constexpr size_t kSamples = 97;
  constexpr uint32_t kBlocks = 5000;
  for (const size_t blocks : {1u, 5u}) {
    BlockRing ring(blocks, kSamples);
    const auto sampleOf = [](uint32_t block, size_t k) {
      return static_cast<float>((block * 2654435761u + static_cast<uint32_t>(k) * 40503u) >> 9);
    };
    std::thread writing([writer = BlockRing::Writer(ring), &sampleOf]() mutable {
      for (uint32_t block = 0; block < kBlocks;) {
        float* room = writer.acquire();
        if (room == nullptr) {
          std::this_thread::yield();
          continue;
        }
        for (size_t k = 0; k < kSamples; ++k) {
          room[k] = sampleOf(block, k);
        }
        writer.commit();
        ++block;
      }
    });
    BlockRing::Reader reader(ring);
    uint32_t wrong = 0;
    for (uint32_t block = 0; block < kBlocks;) {
      const float* samples = reader.front();
      if (samples == nullptr) {
        std::this_thread::yield();
        continue;
      }
      for (size_t k = 0; k < kSamples; ++k) {
        wrong += samples[k] == sampleOf(block, k) ? 0 : 1;
      }
      reader.pop();
      ++block;
    }
    writing.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(reader.front(), nullptr);
  }
}

}  // namespace
}  // namespace tarnwick::sound
