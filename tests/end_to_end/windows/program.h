// The Windows program, started as another program starts it: its output comes through pipes.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

namespace tarnwick::tests {

using Arguments = std::vector<std::string>;

struct ProgramResult {
  DWORD exitCode = STILL_ACTIVE;  // still that: it had to be killed
  std::string out;
  std::string err;
};

class RunningProgram {
 public:
  // Arguments without quotation marks. The program finds no settings and has no server, unless they say otherwise.
  explicit RunningProgram(const Arguments& arguments, const std::string& file = TARNWICK_PROGRAM);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram();  // ends it at once

  // The program's main window once it is there and visible; null when it does not come.
  HWND window() const;
  // Waits for its end.
  ProgramResult finish();
  // Has the window closed as the user does; all must end well. What the program has written.
  std::string close();

 private:
  // The end of a pipe to write to; what comes out of it goes into `text` until it is closed.
  HANDLE readLater(size_t reader, std::string& text);

  PROCESS_INFORMATION process_ = {};
  std::thread readers_[2];
  ProgramResult result_;
};

ProgramResult RunTarnwick(const Arguments& arguments, const std::string& file = TARNWICK_PROGRAM);

// Waits until the window's title is "Tarnwick - " and `state`.
bool AwaitTitle(HWND window, const std::wstring& state);
// The enabled control of the window with that text, once there is one; null when it does not come.
HWND AwaitControl(HWND window, const std::wstring& text);

}  // namespace tarnwick::tests
