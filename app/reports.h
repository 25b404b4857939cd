// The application's timers: reports in the status log and the end of a timed run. User-interface
// thread.
#pragma once

#include <cstdint>
#include <string>

namespace tarnwick::app {

struct Application;

// The faults that the log has told of, so that it does so once.
struct Told {
  std::wstring callbackGrant;
  std::wstring workerGrant;
  bool captureLost = false;
  bool refusedBlocks = false;
};

// What the system granted a thread that asked for real-time scheduling, a platform::RealtimeGrant, in words: "nice
// -20".
std::wstring GrantText(int32_t grant, int32_t value);
// Says in the log what scheduling the system granted the audio threads, when it has changed.
void TellGrants(Application& app);
// Says in the log, once each, that captured audio was lost and that blocks came two at a time.
void TellFaults(Application& app);
// Starts the timers.
void StartReports(Application& app);

}  // namespace tarnwick::app
