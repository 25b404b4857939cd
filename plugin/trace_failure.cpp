#include "plugin/trace_failure.h"

#include "platform/trace.h"

namespace tarnwick::plugin {

void TraceFailure(const std::wstring& path, std::wstring_view text, const std::wstring& words) noexcept {
  try {
    std::wstring line = path + L": ";
    line += text;
    if (!words.empty()) {
      line += L" (" + words + L")";
    }
    platform::Trace(line);
  } catch (...) {
    // No memory for the line: the failure itself is still reported.
  }
}

}  // namespace tarnwick::plugin
