// Requests about processors and priorities. User-interface thread; none of them waits for other processes. The log
// tells of what the system refuses.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/processes.h"
#include "system/cpu_steering.h"
#include "system/process_steering.h"

namespace tarnwick::app {

struct Application;

// The state beside the masks and the engine's settings.
struct SystemControl {
  platform::Processes processes = platform::SystemProcesses();
  system::OtherProcessesSteering otherProcesses;
  system::ThreadSteering uiThread;
  std::optional<system::SteeringCounts> toldCounts;  // of the last run on the other processes that the log told of
  std::wstring toldDifferences;  // between what was asked of the system and what it granted, as last logged

  // Rows of the priority table, as the settings have them. Written by the user-interface thread, read by the threads
  // that follow them.
  std::atomic<int32_t> uiPriority{0};
  std::atomic<int32_t> audioPriority{0};    // threads of recorder and player
  std::atomic<int32_t> networkPriority{0};  // threads of the server
};

// Start of the program, before it has a window and before any other thread of it runs: the priorities.
void RaisePriorities(Application& app);
// Start of the program, with its window made but not yet shown, and before the device and its threads: the own
// process's processors and the user-interface thread's. Masks that were stored are in `app.steering` by then; where one
// is stored for the other processes, they are steered too.
void StartSteering(Application& app);
// To be called about once a second: threads that have begun meanwhile get the own process's processors; the log tells
// what became of the other processes.
void LookAfterThreads(Application& app);

// The user's masks, unchecked. A change reaches the own process, every thread that follows a group, and the number of
// the engine's workers; a change of the last mask also the other processes, on a thread of its own.
void SetSteering(Application& app, const system::SteeringMasks& masks);

// A row of the priority table, for the calling thread as well. The other priorities are read by their threads.
void SetUiPriority(Application& app, int32_t index);

}  // namespace tarnwick::app
