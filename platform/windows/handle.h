// A kernel object's handle, closed by its destructor.
#pragma once

#include <memory>
#include <type_traits>

#include "platform/windows/win32.h"

namespace tarnwick::platform {

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
// Never holds INVALID_HANDLE_VALUE.
using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

}  // namespace tarnwick::platform
