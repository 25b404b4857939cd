// Windows error codes in Windows' own words.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick::platform {

// The system's message for `code` (GetLastError, an HRESULT) in one line; `subject` stands where the message names what
// it is about. "Error 0x0000ABCD." when the system has no message. Any thread; allocates.
std::wstring SystemErrorText(uint32_t code, const std::wstring& subject = {});

}  // namespace tarnwick::platform
