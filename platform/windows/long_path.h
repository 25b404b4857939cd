// Paths beyond 260 characters.
#pragma once

#include <string>

namespace tarnwick::platform {

// `path` in the form that Windows takes at any length: as given while it is short, absolute and with the prefix "\\?\"
// otherwise. For calls of the Windows interface only; never shown or stored. An empty path stays empty.
std::wstring ExtendedPath(const std::wstring& path);

// `path` made absolute, with the system's separators and without "." and ".."; empty when that is not possible.
std::wstring AbsolutePath(const std::wstring& path);

}  // namespace tarnwick::platform
