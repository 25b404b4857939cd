// A host for the test driver.
#pragma once

#include "platform/audio/asio/asio_back_end.h"
#include "platform/audio/device_host.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::platform {

struct AsioHost : DeviceHost {
  explicit AsioHost(AsioOptions options = {})
      : DeviceHost(
            [&](const BackEndHooks& hooks) {
              options.log = hooks.log;
              options.xruns = hooks.xruns;
              return AsioBackEnd(options);
            },
            tests::kTestAsioName) {}
};

}  // namespace tarnwick::platform
