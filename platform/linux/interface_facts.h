// Facts about a network interface from its folder in /sys/class/net.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick::platform {

// The interface's type by Windows' numbers; 1 ("other") when the kernel does not tell or there is no such number.
uint32_t InterfaceTypeIn(const std::string& folder);
// Its alias and its driver's name, as far as there are any, with a blank between.
std::wstring InterfaceDescriptionIn(const std::string& folder);

}  // namespace tarnwick::platform
