// Ending the program: host, then device, then the loop. User-interface thread.
#pragma once

#include <string>

namespace tarnwick::app {

struct Application;

struct Ending {
  bool begun = false;
  int exitCode = 0;
  std::string summary;  // once the run that --seconds asked for has ended
};

// Begins to end: a running host is stopped first, the rest follows by itself. A second call does nothing more.
void BeginShutdown(Application& app);
// Before the stopped host's instances go: keeps the summary that --seconds asks for.
void TakeSummary(Application& app);
// The last step, once the host has stopped: closes the device and ends the loop.
void FinishShutdown(Application& app);

}  // namespace tarnwick::app
