// What the remote control server asks to be changed. A patch is taken over as a whole or not at all: false when any
// value of it cannot be meant, `error` then says why in a sentence. User-interface thread.
#pragma once

#include <string>

#include "app/application.h"
#include "remote/records.h"

namespace tarnwick::app {

// The effect's path has been validated already.
bool ApplyHostPatch(Application& app, const remote::RemoteHostConfigPatch& patch, std::wstring& error);
// Device, rate and block length belong to a session: while one runs, only what it has is accepted.
bool ApplyAudioPatch(Application& app, const remote::RemoteAudioConfigPatch& patch, std::wstring& error);
// A mask may name only processors that the machine has.
bool ApplySteeringPatch(Application& app, const remote::RemoteCpuSteeringPatch& patch, std::wstring& error);
// Gains and the percentage are brought into their range. While a device runs, channels must be its own.
bool ApplyInstancePatch(Application& app, uint32_t index, const remote::RemoteInstancePatch& patch,
                        std::wstring& error);

}  // namespace tarnwick::app
