// The trace: why something failed, in more detail than the failure's own text. Whoever finds a reason says it here; the
// program's listener hears all of it, and whoever answers for an action collects what was said meanwhile.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::platform {

enum class TraceKind {
  detail,  // belongs to an action whose outcome is told elsewhere
  fault,   // is told nowhere else
};

using TraceListener = std::function<void(TraceKind kind, std::wstring_view line)>;

// Replaces the one listener; an empty one hears nothing. The old one is not called any more once this has returned.
// The listener may be called by any thread, one at a time, and may trace itself. Any thread.
void SetTraceListener(TraceListener listener);

// Any thread but the audio path's. Allocates; without memory the line is lost.
void Trace(std::wstring_view line, TraceKind kind = TraceKind::detail) noexcept;

// Collects the lines that the calling thread traces during its life. Scopes may lie within each other: each collects.
class TraceScope {
 public:
  TraceScope() noexcept;
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;
  ~TraceScope();

  // The lines that the calling thread's innermost scope has collected; it then begins anew. None without a scope.
  static std::vector<std::wstring> take() noexcept;

 private:
  friend void Trace(std::wstring_view line, TraceKind kind) noexcept;
  TraceScope* outer_;
  std::vector<std::wstring> lines_;
};

}  // namespace tarnwick::platform
