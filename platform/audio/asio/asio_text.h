// Texts of ASIO drivers, which come in the system's code page. Any thread.
#pragma once

#include <string>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

std::wstring WideFromSystemText(const std::string& text);

// A channel's name as UTF-8: as much of it as fits, in whole characters. The driver's need not be terminated.
void SetChannelName(AudioChannelInfo& info, const char (&name)[32]);

// The error that a driver's message about a failed init names; ASE_NotPresent when it names none.
AsioError AsioErrorInMessage(const std::string& message);

}  // namespace tarnwick::platform
