// The program's command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sound/virtual/virtual_driver.h"

namespace tarnwick::app {

// An option that is not given leaves its value to the settings.
struct Options {
  std::optional<std::wstring> device;
  std::optional<double> sampleRate;   // Hz
  std::optional<int32_t> bufferSize;  // samples; 0 = the device's preferred length
  std::wstring plugin;                // empty = not given
  int32_t instances = 0;              // at least so many
  bool start = false;
  double seconds = 0.0;  // of the device's audio; 0 = until told to end
  std::wstring stateDir;
  std::wstring
      settings;  // where the settings lie: a file, on Windows a key of the current user; empty = the usual place
  uint16_t remotePort = 20831;  // of the remote control server; 0 = no server
  sound::VirtualOptions virtualDevice;
  bool listDevices = false;
  std::wstring validate;  // path of a module to validate
  bool version = false;
  bool debugLog = false;  // the log takes every line of the trace
};

// Reads the arguments (UTF-8, without the program's own name). Nothing when the program is to end now: `text` then
// holds what to print and `exitCode` how to end (0 for help, else the fault in words that name the option).
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& text, int& exitCode);

}  // namespace tarnwick::app
