// Processors to choose between in a test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "platform/threads.h"

namespace tarnwick::platform {

inline uint64_t lowest() {
  return SystemAffinityMask() & (~SystemAffinityMask() + 1);
}
inline uint64_t allButLowest() {
  return SystemAffinityMask() & ~lowest();
}
inline bool oneProcessor() {
  return allButLowest() == 0;
}

// Tests that need two processors.
class TwoProcessors : public testing::Test {
 protected:
  void SetUp() override {
    if (oneProcessor()) {
      GTEST_SKIP() << "one processor";
    }
  }
};

}  // namespace tarnwick::platform
