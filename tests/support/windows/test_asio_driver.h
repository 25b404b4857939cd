// The test driver as a host sees it.
#pragma once

#include "platform/audio/asio/asio_interface.h"

namespace tarnwick::tests {

// With one reference; null when there is no memory.
platform::AsioComDriver* MakeTestAsioDriver();

// The identifier of its class and of its interface.
GUID TestAsioClass();

}  // namespace tarnwick::tests
