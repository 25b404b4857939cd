// The patches that the remote control server asks for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/application.h"
#include "app/settings.h"
#include "remote/records.h"

namespace tarnwick::app {

// The changes that a patch of this kind names by its keys; nothing when a value cannot be read. Ranges are not looked
// at. Any thread.
std::optional<std::vector<SettingChange>> ReadSettingsPatch(Patch patch, const remote::RemoteSettingsPatch& values);
// Makes the whole patch or none of it: false when any value cannot be meant, `error` then says why in a sentence. Gains
// and the percentage are brought into their range; while a device runs, channels must be its own. User-interface
// thread.
bool ApplyInstancePatch(Application& app, uint32_t index, const remote::RemoteInstancePatch& patch,
                        std::wstring& error);

}  // namespace tarnwick::app
