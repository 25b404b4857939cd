// The JACK server as a device of the session, also where PipeWire stands in for it.
#pragma once

#include <string>

#include "platform/audio/audio_back_ends.h"
#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

struct JackOptions {
  // The server to use. Empty: the one that every JACK program takes, $JACK_DEFAULT_SERVER or else "default".
  std::string serverName;
};

// "JACK: " and the server's name, cut to kMaximumDriverName characters.
std::wstring JackDeviceName(const JackOptions& options);

// The back end that lists the one server while it answers; it never starts one.
//
// A device has as many inputs and outputs as the server has physical capture and playback ports; a direction without
// any gets two, which are left for the user to wire. Its ports are in_1... and out_1..., connected to the physical ones
// at ASIOStart. Samples are kFloat32LSB. The server's period is the only block length. It keeps its own rate, too:
// where ASIOInit asked for another, ASIOStart says so in the log and reports the server's by sampleRateDidChange before
// the first block. A block's outputs leave in the cycle that brought its inputs, so nothing is added to the server's
// latency.
//
// The session is lost (BackEndHooks::deviceLost) when the server ends, changes its period or its rate or begins to
// freewheel. Xruns are counted and logged at most every ten seconds.
//
// ASIOInit is ASE_NotPresent when no server answers; once the server is gone ASE_HWMalfunction is the answer to
// everything but the end of the session. There is no control panel.
AudioBackEnd JackBackEnd(const BackEndHooks& hooks, const JackOptions& options = {});

}  // namespace tarnwick::platform
