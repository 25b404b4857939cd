// The entry that starts the program when the user logs on: a link in the start-up folder on Windows, a desktop entry in
// the autostart folder of the user's configuration on Linux. User-interface thread.
#pragma once

namespace tarnwick::platform {

// Makes the entry, which starts this executable; replaces one that is there. False when it cannot be made.
bool CreateStartupLink();
// Removes it; true as well when there is none.
bool RemoveStartupLink();
bool StartupLinkExists();

}  // namespace tarnwick::platform
