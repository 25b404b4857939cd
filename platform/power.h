// Restart and shutdown of the machine, at once and forced.
#pragma once

#include <functional>

namespace tarnwick::platform {

// Each returns whether the request was handed to the system. User-interface thread.
struct Power {
  std::function<bool()> restart;
  std::function<bool()> shutdown;
};

// Windows: shutdown.exe of the system directory, with the shutdown privilege enabled first. Linux: "systemctl reboot"
// and "systemctl poweroff", the program found in PATH; a refusal within half a second counts as false.
Power SystemPower();

}  // namespace tarnwick::platform
