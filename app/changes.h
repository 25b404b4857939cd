// The events of the application. Every request announces what it has changed, once it has changed it; settings, pages
// and the surface listen.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "app/event.h"

namespace tarnwick::app {

// Kinds of change that a listener needs to tell apart.
enum class Changed : uint8_t {
  state,      // the session, the host, the device list, the rows: nothing that is remembered
  setting,    // something that is remembered
  device,     // the remembered device; also when the same one was chosen again
  instances,  // the remembered instances
};

using ChangedEvent = Event<Changed>;
// Something that happened to a request after it was accepted, or without one. `action`: the name in the answer that a
// page has had, or the area's own; a text for users.
using NoticeEvent = Event<std::string_view, const std::wstring&>;

}  // namespace tarnwick::app
