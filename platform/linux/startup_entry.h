// The text of a desktop entry that starts a program.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::platform {

// `program`: path of the executable, in the system's own bytes.
std::string DesktopEntryFor(std::string_view program);

}  // namespace tarnwick::platform
