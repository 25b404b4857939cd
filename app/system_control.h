// What the application keeps of the machine's processors and priorities, beside the masks and the engine's settings.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/processes.h"
#include "system/process_steering.h"

namespace tarnwick::app {

struct SystemControl {
  platform::Processes processes = platform::SystemProcesses();
  system::OtherProcessesSteering otherProcesses;
  system::ThreadSteering uiThread;

  // Rows of the priority table. Written by the user-interface thread, read by the threads that follow them.
  std::atomic<int32_t> uiPriority{1};
  std::atomic<int32_t> audioPriority{2};    // threads of recorder and player
  std::atomic<int32_t> networkPriority{2};  // threads of the server
};

}  // namespace tarnwick::app
