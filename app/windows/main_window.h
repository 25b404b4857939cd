// The main window: device, start and stop, status log. User-interface thread.
#pragma once

#include <string>

#include "app/application.h"
#include "platform/windows/win32.h"

namespace tarnwick::app {

class MainWindow {
 public:
  MainWindow() = default;
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;
  ~MainWindow();

  // Makes the window and lets the application's requests go to it. False when the system refuses. The application
  // outlives the window, or `destroy` is called at its end.
  bool create(Application& app);
  // Shows what the state is in the state of window asked for (SW_...). False when there is no window.
  bool show(int showState);
  // Takes the window away; what is called afterwards does nothing.
  void destroy();
  // The application is gone already: the window goes without asking it anything.
  void abandon();

  // Everything shown, anew from the application's state.
  void refresh();
  void addLine(const std::wstring& line);
  void showBox(engine::BoxKind kind, const std::wstring& title, const std::wstring& text);
  // While a driver is waited for, nothing gets through that would act on the device.
  void waitForDevice(bool waiting);

  HWND window() const { return window_; }  // null when there is none

 private:
  enum Control : int { device = 100, refreshList, panel, asio, latency, instances, host, log };

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT CALLBACK takenMessage(int code, WPARAM wParam, LPARAM lParam);
  LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam);
  bool turnedAway(UINT message, WPARAM wParam);
  void onSessionEnd();
  int focusedButton() const;
  bool registerClass();
  void createControls();
  HWND addControl(Control id, const wchar_t* kind, const wchar_t* text, DWORD style);
  HWND control(Control id) const { return GetDlgItem(window_, id); }
  void setText(Control id, const std::wstring& text);
  void enable(Control id, bool enabled);
  void setFonts();
  void layOut();
  void refreshDevices();
  void onCommand(Control id, UINT notification);
  void onDeviceChosen();
  void onDpiChanged(UINT dpi, const RECT& proposed);

  Application* app_ = nullptr;
  HWND window_ = nullptr;
  HHOOK hook_ = nullptr;
  HBRUSH ground_ = nullptr;  // windows' background, black
  HBRUSH raised_ = nullptr;  // lists
  HFONT font_ = nullptr;
  UINT dpi_ = 96;
  bool waiting_ = false;  // for a driver
};

}  // namespace tarnwick::app
