// Requests of the engine's operations to the user interface around them. User-interface thread unless said otherwise.
#pragma once

#include <functional>
#include <string>

namespace tarnwick::engine {

inline constexpr wchar_t kProgramName[] = L"Tarnwick";

enum class BoxKind { information, warning, error };

// Every member is set; without windows the message box does nothing and no record or playback runs.
struct HostUi {
  std::function<void(const std::wstring& line)> log;  // the status log
  std::function<void(BoxKind kind, const std::wstring& title, const std::wstring& text)> messageBox;
  std::function<bool()> recordRunning;
  std::function<bool()> playbackRunning;
  std::function<bool()> postStopFinished;  // posts the stop-finished message; from the stop thread
  std::function<void()> hostQuiet;         // no block processes instances any more, which are still there
  std::function<void()> destroyMainWindow;
};

// Reports a refusal or failure to the caller and, when interactive, in a message box. Returns false.
bool Refuse(const HostUi& ui, const std::wstring& text, std::wstring* error, bool interactive,
            BoxKind kind = BoxKind::information, const std::wstring& title = kProgramName);

}  // namespace tarnwick::engine
