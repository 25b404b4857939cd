// What the application keeps of its remote control server.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "remote/server.h"
#include "system/cpu_usage.h"

namespace tarnwick::app {

struct RemoteLink {
  system::CpuUsageSampler cpuUsage;
  std::unique_ptr<remote::RemoteControlServer> server;  // none while switched off

  // User-interface thread.
  int64_t hostStart = -1;  // the start that clockSyncId stands for
  uint64_t clockSyncId = 0;

  std::atomic<bool> ending{false};  // the server is to stop: nothing of a request may go on for long

  // Actions that were posted and have not run yet. While there are none, the refusals are up to date.
  std::atomic<int32_t> pendingActions{0};
  std::atomic<bool> refreshPosted{false};  // one look at the devices answers all who asked for it by then
  std::atomic<bool> refusalPosted{false};  // the log tells once of all refused starts by then
  std::mutex refusalMutex;                 // guards the texts alone
  std::wstring startRefusal;
  std::wstring stopAsioRefusal;
};

}  // namespace tarnwick::app
