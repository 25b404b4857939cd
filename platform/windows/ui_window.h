// The user-interface thread's side that only Windows has: the window that its requests go to.
//
// `UiThread::open` makes a window that is never shown and takes all requests, so that the thread can be reached before
// there is a main window and after it. Once the main window is attached, other threads' messages and requests go to it;
// its procedure hands them on to HandleUiMessage before it looks at a message itself. Timers stay with the hidden
// window. Everything arrives as a window message, so requests and timers go on while a message box is open or a window
// is being moved.
#pragma once

#include "platform/ui_thread.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {

// The message numbers that HandleUiMessage takes: UiMessage as posted, at base + n, and above them its own.
inline constexpr UINT kUiPostedWork = kUiMessageBase + 0x100;
inline constexpr UINT kUiSentWork = kUiMessageBase + 0x101;
inline constexpr UINT kUiQuit = kUiMessageBase + 0x102;

// The window that messages and requests go to now; null while the thread is not open. Any thread.
HWND UiWindow(const UiThread& ui) noexcept;

// Lets messages and requests go to `window`, of the user-interface thread; null = to the hidden window again, as the
// main window's procedure says when the window is being destroyed. Does nothing while not open. User-interface thread.
void AttachWindow(UiThread& ui, HWND window) noexcept;

// While held, the user-interface thread begins no request, although it may take window messages in a wait for something
// else: those that are sent wait within their time, and begin with the posted ones afterwards. User-interface thread.
void HoldRequests(UiThread& ui, bool held) noexcept;

// Called by the procedure of an attached window for every message: true when the message was one of the above, and
// `result` is then what the procedure must return.
bool HandleUiMessage(UiThread& ui, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) noexcept;

}  // namespace tarnwick::platform
