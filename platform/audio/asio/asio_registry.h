// The ASIO drivers that are installed on this machine.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>
#include <vector>

namespace tarnwick::platform {

struct AsioEntry {
  std::wstring name;    // as shown: at most kMaximumDriverName characters, no two alike
  GUID classId = {};    // also the identifier of the driver's interface
  std::wstring module;  // full path of the driver's file
};

// The drivers of the registry's "software\asio" in the order of their keys, at most kMaximumDrivers. A key without a
// class identifier that can be read, a class without a module and a module that is not there are left out. The
// registry is looked at as a 64-bit program sees it: the 32-bit drivers beside it cannot be loaded. Any thread.
std::vector<AsioEntry> InstalledAsioDrivers();

}  // namespace tarnwick::platform
