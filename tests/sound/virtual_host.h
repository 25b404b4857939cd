// A virtual device with a host on it.
#pragma once

#include "platform/audio/device_host.h"
#include "sound/virtual/virtual_driver.h"

namespace tarnwick::sound {

inline constexpr int32_t kBlock = 64;

inline VirtualOptions FastOptions(int64_t blocks) {
  VirtualOptions options;
  options.inputs = 4;
  options.outputs = 4;
  options.clock = VirtualClock::fast;
  options.blockLimit = blocks;
  return options;
}

struct VirtualRig {
  VirtualDevice device;
  platform::DeviceHost host{[this](const platform::BackEndHooks&) { return device.backEnd(); }, kVirtualDriverName};

  explicit VirtualRig(const VirtualOptions& options) : device(options) { EXPECT_TRUE(device.prepare(nullptr)); }
  bool reachesLimit() const {
    return tests::Eventually([this] { return device.limitReached(); });
  }
};

}  // namespace tarnwick::sound
