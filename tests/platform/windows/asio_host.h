// A host for the test driver.
#pragma once

#include "platform/device_host.h"
#include "platform/windows/asio_back_end.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::platform {

struct AsioHost : DeviceHost {
  explicit AsioHost(AsioOptions options = {})
      : DeviceHost(
            [&](const BackEndHooks& hooks) {
              options.log = hooks.log;
              return AsioBackEnd(options);
            },
            tests::kTestAsioName) {}
};

}  // namespace tarnwick::platform
