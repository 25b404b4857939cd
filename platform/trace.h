// The debug trace: diagnostic texts of the plug-in host and the recorder. Silent unless a sink is set.
#pragma once

#include <functional>
#include <string_view>

namespace tarnwick::platform {

using TraceSink = std::function<void(std::wstring_view text)>;

// Replaces the sink; an empty one discards. Thread: user interface, while nothing traces.
void SetTraceSink(TraceSink sink);
// Thread: user interface. Never called by the audio path.
void Trace(std::wstring_view text);

}  // namespace tarnwick::platform
