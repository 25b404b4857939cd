#include "app/windows/drawing.h"

#include <commctrl.h>

namespace tarnwick::app {
namespace {

void fill(HDC target, const RECT& area, COLORREF colour) {
  HBRUSH brush = CreateSolidBrush(colour);
  FillRect(target, &area, brush);
  DeleteObject(brush);
}

void frame(HDC target, RECT area, COLORREF colour, int width) {
  HBRUSH brush = CreateSolidBrush(colour);
  for (int k = 0; k < width; ++k) {
    FrameRect(target, &area, brush);
    InflateRect(&area, -1, -1);
  }
  DeleteObject(brush);
}

// Pointing down, in the middle of `area`.
void arrow(HDC target, const RECT& area, int half, COLORREF colour) {
  const int x = (area.left + area.right) / 2;
  const int y = (area.top + area.bottom - half) / 2;
  const POINT corners[] = {{x - half, y}, {x + half, y}, {x, y + half}};
  HBRUSH brush = CreateSolidBrush(colour);
  HGDIOBJ brushBefore = SelectObject(target, brush);
  HGDIOBJ penBefore = SelectObject(target, GetStockObject(NULL_PEN));
  Polygon(target, corners, 3);
  SelectObject(target, penBefore);
  SelectObject(target, brushBefore);
  DeleteObject(brush);
}

void drawDropDown(HWND combo, HDC target) {
  const UINT dpi = GetDpiForWindow(combo);
  const bool focused = GetFocus() == combo;
  const COLORREF colour = IsWindowEnabled(combo) != 0 ? kTextColour : kFaintColour;
  RECT area = {};
  GetClientRect(combo, &area);
  fill(target, area, kRaisedColour);
  frame(target, area, focused ? kAccentColour : kLineColour, focused ? 2 : 1);
  RECT button = area;
  button.left = area.right - Scaled(28, dpi);
  arrow(target, button, Scaled(5, dpi), colour);
  wchar_t text[128] = {};
  GetWindowTextW(combo, text, 128);
  area.left += Scaled(8, dpi);
  area.right = button.left;
  HGDIOBJ before = SelectObject(target, reinterpret_cast<HFONT>(SendMessageW(combo, WM_GETFONT, 0, 0)));
  SetBkMode(target, TRANSPARENT);
  SetTextColor(target, colour);
  DrawTextW(target, text, -1, &area, DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);
  SelectObject(target, before);
}

LRESULT CALLBACK dropDownProcedure(HWND combo, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                   DWORD_PTR /*data*/) {
  if (message == WM_PAINT) {
    PAINTSTRUCT paint;
    drawDropDown(combo, BeginPaint(combo, &paint));
    EndPaint(combo, &paint);
    return 0;
  }
  if (message == WM_NCDESTROY) {
    RemoveWindowSubclass(combo, &dropDownProcedure, id);
  }
  const LRESULT result = DefSubclassProc(combo, message, wParam, lParam);
  // The control's own drawing at such times.
  if (message == WM_SETFOCUS || message == WM_KILLFOCUS || message == WM_ENABLE || message == CB_SETCURSEL ||
      message == WM_COMMAND || message == WM_KEYDOWN || message == WM_LBUTTONDOWN || message == WM_LBUTTONUP) {
    InvalidateRect(combo, nullptr, FALSE);
  }
  return result;
}

}  // namespace

void DrawDarkDropDown(HWND combo) {
  SetWindowSubclass(combo, &dropDownProcedure, 0, 0);
}

void SetDropDownHeight(HWND combo, int height) {
  constexpr WPARAM kClosed = static_cast<WPARAM>(-1);  // in place of a line's number
  RECT area = {};
  GetWindowRect(combo, &area);
  const auto line = static_cast<int>(SendMessageW(combo, CB_GETITEMHEIGHT, kClosed, 0));
  SendMessageW(combo, CB_SETITEMHEIGHT, kClosed, height - (area.bottom - area.top - line));
}

HFONT CreateTextFont(UINT dpi) {
  return CreateFontW(-Scaled(15, dpi), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_DEFAULT_PRECIS,
                     CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY, DEFAULT_PITCH | FF_SWISS, L"Segoe UI");
}

void DrawButton(const DRAWITEMSTRUCT& item, HFONT font) {
  const bool pressed = (item.itemState & ODS_SELECTED) != 0;
  const bool disabled = (item.itemState & ODS_DISABLED) != 0;
  const bool focused = (item.itemState & ODS_FOCUS) != 0;
  RECT area = item.rcItem;
  fill(item.hDC, area, pressed ? kLineColour : kRaisedColour);
  frame(item.hDC, area, focused ? kAccentColour : kLineColour, focused ? 2 : 1);
  wchar_t text[64] = {};
  GetWindowTextW(item.hwndItem, text, 64);
  HGDIOBJ before = SelectObject(item.hDC, font);
  SetBkMode(item.hDC, TRANSPARENT);
  SetTextColor(item.hDC, disabled ? kFaintColour : kTextColour);
  DrawTextW(item.hDC, text, -1, &area, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
  SelectObject(item.hDC, before);
}

}  // namespace tarnwick::app
