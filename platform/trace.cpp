#include "platform/trace.h"

#include <exception>
#include <mutex>
#include <utility>

namespace tarnwick::platform {
namespace {

struct Listening {
  std::recursive_mutex mutex;  // held while the listener is called
  TraceListener listener;
};

Listening& listening() {
  static Listening current;
  return current;
}

thread_local TraceScope* innermostScope = nullptr;

}  // namespace

void SetTraceListener(TraceListener listener) {
  const std::lock_guard lock(listening().mutex);
  listening().listener = std::move(listener);
}

void Trace(std::wstring_view line, TraceKind kind) noexcept {
  try {
    for (TraceScope* scope = innermostScope; scope != nullptr; scope = scope->outer_) {
      scope->lines_.emplace_back(line);
    }
    const std::lock_guard lock(listening().mutex);
    if (listening().listener) {
      listening().listener(kind, line);
    }
  } catch (const std::exception&) {
    // Out of memory: the line is lost.
  }
}

TraceScope::TraceScope() noexcept : outer_(std::exchange(innermostScope, this)) {}

TraceScope::~TraceScope() {
  innermostScope = outer_;
}

std::vector<std::wstring> TraceScope::take() noexcept {
  return innermostScope != nullptr ? std::exchange(innermostScope->lines_, {}) : std::vector<std::wstring>();
}

}  // namespace tarnwick::platform
