// Folders of the user, and the running program's file. Paths are the system's own bytes. Any thread; allocates.
#pragma once

#include <string>

namespace tarnwick::platform {

// $HOME, or the account's home folder; empty when there is neither.
std::string HomeFolder();
// $XDG_CONFIG_HOME when it is an absolute path, or .config in the home folder; empty when there is none.
std::string ConfigurationFolder();
// The running executable; where it was, when its file has been replaced meanwhile. Empty when the system does not tell.
std::string OwnExecutable();

}  // namespace tarnwick::platform
