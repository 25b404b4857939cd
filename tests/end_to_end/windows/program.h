// The Windows program, started as another program starts it: its output comes through pipes.
#pragma once

#include <windows.h>

#include <string>
#include <thread>
#include <vector>

namespace tarnwick::tests {

struct ProgramResult {
  DWORD exitCode = STILL_ACTIVE;  // still that: it had to be killed
  std::string out;
  std::string err;

  std::string lastLine() const;  // of `out`
};

// Far more than anything here needs on an idle machine: a machine that is not idle fails no test.
inline constexpr DWORD kProgramLimit = 90000;  // ms

class RunningProgram {
 public:
  // Arguments without quotation marks. The program finds no settings and has no server, unless they say otherwise.
  explicit RunningProgram(const std::vector<std::string>& arguments, const std::string& file = TARNWICK_PROGRAM);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram();  // ends it at once

  // The program's main window once it is there and visible; null when it does not come.
  HWND window() const;
  ProgramResult finish();

 private:
  PROCESS_INFORMATION process_ = {};
  std::thread readers_[2];
  ProgramResult result_;
};

ProgramResult RunTarnwick(const std::vector<std::string>& arguments, const std::string& file = TARNWICK_PROGRAM);

// Waits until the window's title is `title`.
bool AwaitTitle(HWND window, const std::wstring& title);
// The enabled control of the window with that text, once there is one; null when it does not come.
HWND AwaitControl(HWND window, const std::wstring& text);

}  // namespace tarnwick::tests
