// Named texts that outlast the program: the registry on Windows, a file on Linux.
#pragma once

#include <map>
#include <string>

namespace tarnwick::platform {

using RegistryValues = std::map<std::wstring, std::wstring>;

// Where the values lie. Windows: a key below the current user's hive ("Software\\Tarnwick"); every value is a string
// value. Linux: a file (tarnwick/settings in the user's configuration folder); one line a value, its name, "=", its
// text, in UTF-8. There neither may hold a line end and a name no "=".
std::wstring DefaultRegistryLocation();

// All values; empty when the place does not exist or cannot be read. Values that are no text or have no name are left
// out; so are lines that are none, a last line without its end, and what goes beyond 16 MiB in all.
RegistryValues ReadRegistry(const std::wstring& location);

// Writes the values, in order; those there under other names stay. False when the place cannot be made or opened, or
// any value could not be written (one with a zero in it never can); those after it are attempted all the same. A value
// without a name is skipped. Linux: the file is replaced as a whole and is on the disk when this returns, so a power
// cut leaves the old or the new one; its folder is made when missing, a link to a file elsewhere stays. Nothing is
// written where there is something else than a file, one that cannot be read, or more than 16 MiB would come about.
bool WriteRegistry(const std::wstring& location, const RegistryValues& values);

}  // namespace tarnwick::platform
