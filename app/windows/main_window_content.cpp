// The main window's contents and its controls' commands.
#include "app/captions.h"
#include "app/windows/main_window.h"

namespace tarnwick::app {
namespace {

// The state's name in the line beside the host's button.
std::wstring hostText(const Application& app) {
  const wchar_t* state = L"stopped";
  if (app.engine.hostStopping.load()) {
    state = L"stopping";
  } else if (app.engine.hostRunning.load()) {
    state = L"running";
  }
  return InstanceCaption(app.host.rows.size()) + L", " + state;
}

}  // namespace

// Only what differs is set: setting a text draws it.
void MainWindow::setText(Control id, const std::wstring& text) {
  wchar_t present[256] = {};
  GetWindowTextW(control(id), present, 256);
  if (text != present) {
    SetWindowTextW(control(id), text.c_str());
  }
}

// A control that is disabled while it has the focus would take the keyboard with it.
void MainWindow::enable(Control id, bool enabled) {
  HWND target = control(id);
  if (!enabled && GetFocus() == target) {
    SetFocus(control(log));
  }
  EnableWindow(target, enabled ? TRUE : FALSE);
}

void MainWindow::refreshDevices() {
  const engine::DeviceList& list = app_->device.list;
  HWND combo = control(device);
  SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const std::wstring& name : list.devices) {
    const LRESULT index = SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(name.c_str()));
    if (name == list.selected) {
      SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(index), 0);
    }
  }
  if (list.devices.empty()) {
    SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(list.placeholder.c_str()));
    SendMessageW(combo, CB_SETCURSEL, 0, 0);
  }
}

void MainWindow::refresh() {
  if (app_ == nullptr || window_ == nullptr) {
    return;
  }
  const bool sessionRuns = app_->engine.asioRunning.load();
  const bool stopping = app_->engine.hostStopping.load();
  const std::wstring title = HostTitle(app_->host);
  wchar_t present[64] = {};
  GetWindowTextW(window_, present, 64);
  if (title != present) {
    SetWindowTextW(window_, title.c_str());
  }
  refreshDevices();
  setText(asio, DeviceButtonText(app_->engine));
  setText(latency, app_->device.latencyText);
  setText(instances, hostText(*app_));
  setText(host, app_->engine.hostRunning.load() ? L"Stop host" : L"Start host");
  enable(device, !sessionRuns && !app_->device.list.devices.empty());
  enable(refreshList, !sessionRuns);
  enable(asio, !stopping);
  enable(host, !stopping);
}

void MainWindow::addLine(const std::wstring& line) {
  if (window_ == nullptr) {
    return;
  }
  HWND list = control(log);
  SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
  while (SendMessageW(list, LB_GETCOUNT, 0, 0) > static_cast<LRESULT>(StatusLog::kKeptLines)) {
    SendMessageW(list, LB_DELETESTRING, 0, 0);
  }
  SendMessageW(list, LB_SETTOPINDEX, static_cast<WPARAM>(SendMessageW(list, LB_GETCOUNT, 0, 0) - 1), 0);
}

void MainWindow::showBox(engine::BoxKind kind, const std::wstring& title, const std::wstring& text) {
  UINT icon = MB_ICONINFORMATION;
  if (kind == engine::BoxKind::warning) {
    icon = MB_ICONWARNING | MB_SETFOREGROUND;
  } else if (kind == engine::BoxKind::error) {
    icon = MB_ICONERROR;
  }
  MessageBoxW(window_, text.c_str(), title.c_str(), MB_OK | icon);
}

void MainWindow::onDeviceChosen() {
  const LRESULT index = SendMessageW(control(device), CB_GETCURSEL, 0, 0);
  if (index >= 0 && index < static_cast<LRESULT>(app_->device.list.devices.size()) &&
      !app_->engine.asioRunning.load()) {
    SelectDevice(*app_, app_->device.list.devices[static_cast<size_t>(index)]);
  }
}

void MainWindow::onCommand(Control id, UINT notification) {
  std::wstring error;
  if (id == device) {
    if (notification == CBN_SELCHANGE) {
      onDeviceChosen();
    }
    return;
  }
  if (notification != BN_CLICKED || app_->host.closePending) {
    return;
  }
  if (id == refreshList) {
    RefreshDevices(*app_);
  } else if (id == panel) {
    OpenDevicePanel(*app_, &error, true);
  } else if (id == asio && app_->engine.asioRunning.load()) {
    StopDevice(*app_, &error, true);
  } else if (id == asio) {
    StartDevice(*app_, &error, true);
  } else if (id == host && app_->engine.hostRunning.load()) {
    StopHost(*app_);
  } else if (id == host) {
    StartHost(*app_, &error, true);
  }
  refresh();
}

}  // namespace tarnwick::app
