// The program from its arguments to its exit code, with the system's entry around it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/application.h"

namespace tarnwick::app {

// Duties of a system's entry around the run. User-interface thread.
struct ProgramEntry {
  Surface surface;
  std::function<void(const std::string& text)> printError;  // faults, UTF-8
  // Called with the application's thread open, before anything starts: arranges for BeginShutdown to be called on it
  // when the system or the user asks the program to end.
  std::function<void(Application& app)> watchForEnd;
  // Called next, with the thread on its processors: shows the window that was made in `watchForEnd`. False when there
  // is none: the program ends with 1. Empty where a program has no window.
  std::function<bool()> show;
};

// Arguments in UTF-8, without the program's own name. Returns the exit code: 0, 1 for a failed start or answer, 2 for
// options that make no sense.
int RunProgram(const std::vector<std::string>& arguments, const ProgramEntry& entry);

}  // namespace tarnwick::app
