#include "app/windows/main_window.h"

#include <commctrl.h>

#include "app/captions.h"
#include "app/windows/drawing.h"
#include "app/windows/start_up.h"
#include "platform/windows/ui_window.h"

namespace tarnwick::app {
namespace {

constexpr DWORD kStyle = WS_OVERLAPPEDWINDOW | WS_VSCROLL | WS_HSCROLL | WS_CLIPCHILDREN;
constexpr int kClientWidth = 924;    // 1/96 inch
constexpr int kHeightLeftOver = 50;  // pixels of the work area
constexpr int kFallbackHeight = 570;
constexpr int kStep = 8;
constexpr int kControlHeight = 36;
constexpr ULONGLONG kTimeToStop = 3000;  // ms; Windows gives 5 s when the session ends

HWND dialogKeysFor = nullptr;  // the window whose controls the Tab key goes through

// The window's outer size for the client size that the work area asks for; the scroll bars lie outside the client area.
SIZE outerSize(UINT dpi) {
  RECT work = {};
  const bool known = SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0) != 0;
  RECT area = {0, 0, Scaled(kClientWidth, dpi), known ? work.bottom - work.top - kHeightLeftOver : kFallbackHeight};
  AdjustWindowRectExForDpi(&area, kStyle, FALSE, 0, dpi);
  return {area.right - area.left + GetSystemMetricsForDpi(SM_CXVSCROLL, dpi),
          area.bottom - area.top + GetSystemMetricsForDpi(SM_CYHSCROLL, dpi)};
}

}  // namespace

MainWindow::~MainWindow() {
  abandon();
  for (HGDIOBJ object : {static_cast<HGDIOBJ>(ground_), static_cast<HGDIOBJ>(raised_), static_cast<HGDIOBJ>(font_)}) {
    if (object != nullptr) {
      DeleteObject(object);
    }
  }
}

bool MainWindow::registerClass() {
  const HINSTANCE program = GetModuleHandleW(nullptr);
  WNDCLASSEXW description{};
  description.cbSize = sizeof description;
  description.lpfnWndProc = &procedure;
  description.hInstance = program;
  description.hIcon = LoadIconW(program, MAKEINTRESOURCEW(1));
  description.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));  // the arrow
  description.hbrBackground = ground_;
  description.lpszClassName = kMainWindowClass;
  return RegisterClassExW(&description) != 0;
}

bool MainWindow::create(Application& app) {
  INITCOMMONCONTROLSEX all{sizeof all, ICC_WIN95_CLASSES | ICC_DATE_CLASSES | ICC_USEREX_CLASSES | ICC_COOL_CLASSES |
                                           ICC_INTERNET_CLASSES | ICC_PAGESCROLLER_CLASS | ICC_NATIVEFNTCTL_CLASS |
                                           ICC_STANDARD_CLASSES | ICC_LINK_CLASS};
  InitCommonControlsEx(&all);
  ground_ = CreateSolidBrush(RGB(0, 0, 0));
  raised_ = CreateSolidBrush(kRaisedColour);
  if (!registerClass()) {
    return false;
  }
  dpi_ = GetDpiForSystem();
  const SIZE size = outerSize(dpi_);
  app_ = &app;
  CreateWindowExW(0, kMainWindowClass, HostTitle(app.host).c_str(), kStyle, 0, 0, size.cx, size.cy, nullptr, nullptr,
                  GetModuleHandleW(nullptr), this);
  if (window_ == nullptr) {
    app_ = nullptr;
    return false;
  }
  dpi_ = GetDpiForWindow(window_);
  platform::AttachWindow(app.ui, window_);
  dialogKeysFor = window_;
  hook_ = SetWindowsHookExW(WH_GETMESSAGE, &takenMessage, nullptr, GetCurrentThreadId());
  createControls();
  return true;
}

bool MainWindow::show(int showState) {
  if (window_ == nullptr) {
    return false;
  }
  setFonts();
  refresh();
  ShowWindow(window_, showState);
  UpdateWindow(window_);
  SetFocus(control(asio));
  return true;
}

void MainWindow::destroy() {
  if (app_ != nullptr) {
    platform::AttachWindow(app_->ui, nullptr);
  }
  abandon();
}

void MainWindow::abandon() {
  app_ = nullptr;
  if (hook_ != nullptr) {
    UnhookWindowsHookEx(hook_);
    hook_ = nullptr;
  }
  if (window_ != nullptr) {
    DestroyWindow(window_);
  }
}

// The loop that takes the thread's messages knows no dialogue; so its keys are acted on as each message is taken.
LRESULT CALLBACK MainWindow::takenMessage(int code, WPARAM wParam, LPARAM lParam) {
  auto* message = reinterpret_cast<MSG*>(lParam);
  if (code >= 0 && wParam == PM_REMOVE && dialogKeysFor != nullptr && message->message >= WM_KEYFIRST &&
      message->message <= WM_KEYLAST && IsDialogMessageW(dialogKeysFor, message) != 0) {
    message->message = WM_NULL;
  }
  return CallNextHookEx(nullptr, code, wParam, lParam);
}

LRESULT CALLBACK MainWindow::procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    auto* self = static_cast<MainWindow*>(reinterpret_cast<const CREATESTRUCTW*>(lParam)->lpCreateParams);
    self->window_ = window;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
  }
  auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) {
    return DefWindowProcW(window, message, wParam, lParam);
  }
  if (message == WM_NCDESTROY) {
    SetWindowLongPtrW(window, GWLP_USERDATA, 0);
    self->window_ = nullptr;
    dialogKeysFor = nullptr;
    return DefWindowProcW(window, message, wParam, lParam);
  }
  return self->handle(message, wParam, lParam);
}

LRESULT MainWindow::handle(UINT message, WPARAM wParam, LPARAM lParam) {
  LRESULT result = 0;
  if (app_ == nullptr) {
    return DefWindowProcW(window_, message, wParam, lParam);
  }
  if (platform::HandleUiMessage(app_->ui, message, wParam, lParam, result) || turnedAway(message, wParam)) {
    return result;
  }
  switch (message) {
    case WM_CLOSE:
      BeginShutdown(*app_);  // the host first; the window goes when it has stopped
      return 0;
    case WM_ENDSESSION:
      if (wParam != 0) {
        onSessionEnd();
      }
      return 0;
    case WM_COMMAND:
      onCommand(static_cast<Control>(LOWORD(wParam)), HIWORD(wParam));
      return 0;
    case DM_GETDEFID:  // asked when Enter is pressed: it acts on the button that has the focus
      return focusedButton() != 0 ? MAKELRESULT(focusedButton(), DC_HASDEFID) : 0;
    case WM_SIZE:
      layOut();
      return 0;
    case WM_DPICHANGED:
      onDpiChanged(LOWORD(wParam), *reinterpret_cast<const RECT*>(lParam));
      return 0;
    case WM_DRAWITEM:
      DrawButton(*reinterpret_cast<const DRAWITEMSTRUCT*>(lParam), font_);
      return TRUE;
    case WM_CTLCOLORSTATIC:
      SetTextColor(reinterpret_cast<HDC>(wParam), kSoftColour);
      SetBkColor(reinterpret_cast<HDC>(wParam), RGB(0, 0, 0));
      return reinterpret_cast<LRESULT>(ground_);
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLOREDIT:
      SetTextColor(reinterpret_cast<HDC>(wParam), kTextColour);
      SetBkColor(reinterpret_cast<HDC>(wParam), kRaisedColour);
      return reinterpret_cast<LRESULT>(raised_);
    default:
      return DefWindowProcW(window_, message, wParam, lParam);
  }
}

void MainWindow::waitForDevice(bool waiting) {
  if (app_ != nullptr) {
    waiting_ = waiting;
    platform::HoldRequests(app_->ui, waiting);
  }
}

// Messages of other threads and the system during a wait for a driver. The end comes after the wait.
bool MainWindow::turnedAway(UINT message, WPARAM wParam) {
  if (!waiting_ || (message != WM_COMMAND && message != WM_CLOSE && message != WM_ENDSESSION)) {
    return false;
  }
  const bool sessionEnds = message == WM_ENDSESSION && wParam != 0;
  if (sessionEnds) {
    SaveAtEnd(*app_);
  }
  if (message == WM_CLOSE || sessionEnds) {
    PostMessageW(window_, WM_CLOSE, 0, 0);
  }
  return true;
}

// Windows may end the process as soon as this message has been answered: what can be lost is saved before anything
// else, and the answer waits a while for the host and the device to stop.
void MainWindow::onSessionEnd() {
  SaveAtEnd(*app_);
  BeginShutdown(*app_);
  const ULONGLONG begin = GetTickCount64();
  for (ULONGLONG waited = 0; window_ != nullptr && waited < kTimeToStop; waited = GetTickCount64() - begin) {
    MSG message;
    if (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) == 0) {
      MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(kTimeToStop - waited), QS_ALLINPUT,
                                  MWMO_INPUTAVAILABLE);
    } else if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));  // for the loop below this one
      return;
    } else {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }
}

// 0 when the focus is elsewhere.
int MainWindow::focusedButton() const {
  HWND focus = GetFocus();
  const bool isButton = IsChild(window_, focus) != 0 && (SendMessageW(focus, WM_GETDLGCODE, 0, 0) & DLGC_BUTTON) != 0;
  return isButton ? GetDlgCtrlID(focus) : 0;
}

HWND MainWindow::addControl(Control id, const wchar_t* kind, const wchar_t* text, DWORD style) {
  return CreateWindowExW(0, kind, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, window_,
                         reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
}

void MainWindow::createControls() {
  constexpr DWORD kButton = WS_TABSTOP | BS_OWNERDRAW;
  DrawDarkDropDown(addControl(device, L"COMBOBOX", L"", WS_TABSTOP | WS_VSCROLL | CBS_DROPDOWNLIST));
  addControl(refreshList, L"BUTTON", L"Refresh", kButton);
  addControl(panel, L"BUTTON", L"Control panel", kButton);
  addControl(asio, L"BUTTON", L"ASIO Start", kButton);
  addControl(latency, L"STATIC", L"", SS_LEFT | SS_CENTERIMAGE | SS_NOPREFIX);
  addControl(instances, L"STATIC", L"", SS_LEFT | SS_CENTERIMAGE | SS_NOPREFIX);
  addControl(host, L"BUTTON", L"Start host", kButton);
  addControl(log, L"LISTBOX", L"", WS_TABSTOP | WS_VSCROLL | WS_HSCROLL | LBS_NOINTEGRALHEIGHT | LBS_NOSEL);
  for (const std::wstring& line : app_->log.lines()) {
    addLine(line);
  }
  // The scroll bars belong to the window; there is nothing to scroll yet.
  SCROLLINFO nothing{sizeof nothing, SIF_RANGE | SIF_PAGE | SIF_POS | SIF_DISABLENOSCROLL, 0, 0, 1, 0, 0};
  SetScrollInfo(window_, SB_VERT, &nothing, TRUE);
  SetScrollInfo(window_, SB_HORZ, &nothing, TRUE);
}

void MainWindow::setFonts() {
  HFONT before = font_;
  font_ = CreateTextFont(dpi_);
  for (int id = device; id <= log; ++id) {
    SendDlgItemMessageW(window_, id, WM_SETFONT, reinterpret_cast<WPARAM>(font_), TRUE);
  }
  if (before != nullptr) {
    DeleteObject(before);
  }
  layOut();
}

// Two rows of controls, then the log.
void MainWindow::layOut() {
  RECT client = {};
  GetClientRect(window_, &client);
  const int gap = Scaled(2 * kStep, dpi_);
  const int height = Scaled(kControlHeight, dpi_);
  const int button = Scaled(128, dpi_);
  const int right = client.right - gap;
  int top = gap;
  int left = right;
  for (const Control id : {asio, panel, refreshList}) {
    left -= button;
    MoveWindow(control(id), left, top, button, height, TRUE);
    left -= gap / 2;
  }
  SetDropDownHeight(control(device), height);
  MoveWindow(control(device), gap, top, left - gap, Scaled(320, dpi_), TRUE);
  top += height + gap / 2;
  MoveWindow(control(latency), gap, top, right - gap, height, TRUE);
  top += height;
  MoveWindow(control(instances), gap, top, right - button - 2 * gap, height, TRUE);
  MoveWindow(control(host), right - button, top, button, height, TRUE);
  top += height + gap;
  MoveWindow(control(log), gap, top, right - gap, client.bottom - gap - top, TRUE);
}

void MainWindow::onDpiChanged(UINT dpi, const RECT& proposed) {
  dpi_ = dpi;
  SetWindowPos(window_, nullptr, proposed.left, proposed.top, proposed.right - proposed.left,
               proposed.bottom - proposed.top, SWP_NOZORDER | SWP_NOACTIVATE);
  setFonts();
}

}  // namespace tarnwick::app
