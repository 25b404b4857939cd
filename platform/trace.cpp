#include "platform/trace.h"

#include <utility>

namespace tarnwick::platform {
namespace {

TraceSink& sink() {
  static TraceSink current;
  return current;
}

}  // namespace

void SetTraceSink(TraceSink newSink) {
  sink() = std::move(newSink);
}

void Trace(std::wstring_view text) {
  if (sink()) {
    sink()(text);
  }
}

}  // namespace tarnwick::platform
