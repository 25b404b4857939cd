// The way from a driver's callbacks, which carry no context, to the one open session. Drivers call from threads of
// their own: early, late, twice at once and after the end. What comes while the gate is shut goes no further.
#pragma once

#include "platform/audio/asio/asio_interface.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

// Let through are asioMessage and sampleRateDidChange from the buffers' creation on, blocks from just before the
// start on, nothing after the stop.
enum class AsioPassage : int32_t { nothing, notifications, everything };

// The record for drivers. It lasts as long as the program, and so may every pointer that a driver keeps of it.
const AsioCallbackRecord& AsioTrampolines();

// Takes the gate for the session of `owner`, shut; false while another one has it. User-interface thread, as are all.
bool TakeAsioGate(const void* owner, const AudioCallbacks& callbacks);
// Changes what is let through, if it is the owner's. Having narrowed it, returns once no call of the kinds now shut out
// is still in the host; gives up after 2 s, because some drivers end their threads by force and such a call never
// leaves.
void SetAsioPassage(const void* owner, AsioPassage passage);
// Overloads that the session's driver has told of since `everything` was last let through. Any thread.
uint64_t AsioOverloads();
// Shuts the gate and gives it up, if it is the owner's.
void LeaveAsioGate(const void* owner);

}  // namespace tarnwick::platform
