// Making an ASIO driver.
#pragma once

#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/asio/asio_registry.h"

namespace tarnwick::platform {

// The driver, for its maker to release, or null. Its file stays loaded until the program ends: threads of a driver have
// been seen to call the host once more after the release. Thread: single-threaded apartment, where the driver stays.
AsioComDriver* CreateAsioDriver(const AsioEntry& entry);

}  // namespace tarnwick::platform
