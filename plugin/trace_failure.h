// The trace of what goes wrong with a module or an instance of it.
#pragma once

#include <string>
#include <string_view>

namespace tarnwick::plugin {

inline constexpr std::wstring_view kNoMemory = L"There is not enough memory.";

// Traces "path: text (words)"; `words` are those of the system's loader, where it had any. User-interface thread.
void TraceFailure(const std::wstring& path, std::wstring_view text, const std::wstring& words = {}) noexcept;

}  // namespace tarnwick::plugin
