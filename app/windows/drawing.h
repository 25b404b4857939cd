// Colours and drawing of the program's windows. User-interface thread.
#pragma once

#include "platform/windows/win32.h"

namespace tarnwick::app {

inline constexpr COLORREF kPanelColour = RGB(0x17, 0x1b, 0x1e);
inline constexpr COLORREF kRaisedColour = RGB(0x20, 0x26, 0x2a);
inline constexpr COLORREF kLineColour = RGB(0x2d, 0x35, 0x3a);
inline constexpr COLORREF kTextColour = RGB(0xe8, 0xec, 0xee);
inline constexpr COLORREF kSoftColour = RGB(0xa3, 0xae, 0xb4);
inline constexpr COLORREF kFaintColour = RGB(0x8b, 0x97, 0x9d);
inline constexpr COLORREF kAccentColour = RGB(0x5f, 0xb3, 0xd4);

// Pixels of a length in 1/96 inch.
inline int Scaled(int length, UINT dpi) {
  return MulDiv(length, static_cast<int>(dpi), 96);
}

// The system's face in the text size, for a monitor's resolution. The caller deletes it.
HFONT CreateTextFont(UINT dpi);
// An owner-drawn button with its text; the keyboard's focus shows as a frame.
void DrawButton(const DRAWITEMSTRUCT& item, HFONT font);
// Has a drop-down list (CBS_DROPDOWNLIST) drawn as the buttons are, with its text and an arrow. The opened list is
// coloured by its owner (WM_CTLCOLORLISTBOX).
void DrawDarkDropDown(HWND combo);
// Its height while closed, in pixels.
void SetDropDownHeight(HWND combo, int height);

}  // namespace tarnwick::app
