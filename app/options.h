// The program's command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/virtual/virtual_driver.h"

namespace tarnwick::app {

struct Options {
  std::wstring device = platform::kVirtualDriverName;
  double sampleRate = 48000.0;  // Hz
  int32_t bufferSize = 256;     // samples; 0 = the device's preferred length
  std::wstring plugin;          // empty = Ombrel.vst3 beside the executable
  int32_t instances = 0;
  bool start = false;
  double seconds = 0.0;  // of the device's audio; 0 = until told to end
  std::wstring stateDir;
  std::wstring settingsFile;
  platform::VirtualOptions virtualDevice;
  bool listDevices = false;
  std::wstring validate;  // path of a module to validate
  bool version = false;
};

// Reads the arguments (UTF-8, without the program's own name). Nothing when the program is to end now: `text` then
// holds what to print and `exitCode` how to end (0 for help, else the fault in words that name the option).
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& text, int& exitCode);

}  // namespace tarnwick::app
