#include "app/windows/drawing.h"

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

}  // namespace

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
