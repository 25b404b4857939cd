// Which build this is.
#pragma once

#include <string>

namespace tarnwick::app {

// "Tarnwick 0.1.0 (a1b2c3d, Release)"; the commit is "unknown" in a tree without git, and has "+" behind it when the
// tree had changes at configuration.
std::wstring VersionLine();

}  // namespace tarnwick::app
