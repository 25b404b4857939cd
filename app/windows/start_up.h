// The program's steps before it starts the application: its arguments, the rule of the single instance, and the
// folder for the effects' support libraries.
#pragma once

#include <string>
#include <vector>

#include "platform/windows/win32.h"

namespace tarnwick::app {

// Without the program's own name.
std::vector<std::string> ArgumentsInUtf8();

inline constexpr wchar_t kMainWindowClass[] = L"TarnwickWindowClass";

// The mark of the one instance in the user's session, kept for as long as the object lives.
class SingleInstance {
 public:
  enum class Claim { first, runsAlready, failed };

  SingleInstance() = default;
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;
  ~SingleInstance();

  Claim claim();

 private:
  HANDLE mutex_ = nullptr;
};

// Restores the window of the instance that runs, where it is minimised, and brings it to the foreground.
void RaiseRunningInstance();

// Where the program's folder holds a folder "DLL", libraries are looked for in the system's default folders and in that
// one from now on. Without it nothing changes.
void UseDllFolder();

}  // namespace tarnwick::app
