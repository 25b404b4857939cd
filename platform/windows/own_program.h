// The running executable's file. Any thread; allocates.
#pragma once

#include <string>

namespace tarnwick::platform {

// Its full path; empty when the system does not tell.
std::wstring OwnExecutable();

}  // namespace tarnwick::platform
