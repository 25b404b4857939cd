// Titles and captions that windows and log lines share. User-interface thread.
#pragma once

#include <cstddef>
#include <string>

#include "engine/host.h"

namespace tarnwick::app {

std::wstring HostTitle(const engine::Host& host);             // main window: "Tarnwick - Running"
std::wstring InstanceCaption(size_t instances);               // "8 instances"
std::wstring DeviceButtonText(const engine::Engine& engine);  // "ASIO Start", "ASIO Stop"

}  // namespace tarnwick::app
