// A virtual device with a host on it.
#pragma once

#include "device_host.h"
#include "platform/virtual/virtual_driver.h"

namespace tarnwick::platform {

inline constexpr int32_t kBlock = 64;

inline VirtualOptions FastOptions(int64_t blocks) {
  VirtualOptions options;
  options.inputs = 4;
  options.outputs = 4;
  options.preferredBlock = kBlock;
  options.clock = VirtualClock::fast;
  options.blockLimit = blocks;
  return options;
}

struct VirtualRig {
  VirtualDevice device;
  DeviceHost host{[this](const BackEndHooks&) { return device.backEnd(); }, kVirtualDriverName};

  explicit VirtualRig(const VirtualOptions& options) : device(options) { EXPECT_TRUE(device.prepare(nullptr)); }
  bool reachesLimit() const {
    return tests::Eventually([this] { return device.limitReached(); });
  }
};

}  // namespace tarnwick::platform
