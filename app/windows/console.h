// Where a program without a console of its own writes: into the pipe or file that its standard output is, else onto the
// console that started it, else nowhere.
#pragma once

#include <string>

#include "platform/windows/win32.h"

namespace tarnwick::app {

// User-interface thread.
class Console {
 public:
  Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  void print(const std::wstring& text) const;
  void printError(const std::string& utf8) const;
  // Somebody may read the faults.
  bool hasErrorOutput() const { return error_ != nullptr; }

 private:
  HANDLE output_ = nullptr;
  HANDLE error_ = nullptr;
  HANDLE screen_ = nullptr;  // the console's, when one of the two goes there
};

}  // namespace tarnwick::app
