#include "engine/host_ui.h"

namespace tarnwick::engine {

bool Refuse(const HostUi& ui, const std::wstring& text, std::wstring* error, bool interactive, BoxKind kind,
            const std::wstring& title) {
  if (error) {
    *error = text;
  }
  if (interactive) {
    ui.messageBox(kind, title, text);
  }
  return false;
}

}  // namespace tarnwick::engine
