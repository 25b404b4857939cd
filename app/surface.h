// The surface around the application: a console, or windows.
#pragma once

#include <functional>
#include <string>

#include "engine/host_ui.h"

namespace tarnwick::app {

// The application's requests to it. User-interface thread.
struct Surface {
  std::function<void(const std::wstring& line)> logLine;
  std::function<void(engine::BoxKind kind, const std::wstring& title, const std::wstring& text)> messageBox;
  std::function<void()> refresh;                        // titles, buttons, labels and rows from the state
  std::function<void(const std::wstring& text)> print;  // an answer the user asked for
  // Where there are windows; else empty.
  std::function<void(const std::wstring& text)> showWarning;  // in a message box that nobody waits for
  std::function<void*()> mainWindow;                // what drivers may own their dialogs with; null when there is none
  std::function<void(bool waiting)> waitForDevice;  // see BackEndHooks::waiting
};

}  // namespace tarnwick::app
