// The application's remote control server: its state here, its start and end, and what all pages are told.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "remote/server.h"
#include "system/cpu_usage.h"

namespace tarnwick::app {

struct Application;

struct RemoteLink {
  system::CpuUsageSampler cpuUsage;
  std::unique_ptr<remote::RemoteControlServer> server;  // none while switched off

  // User-interface thread.
  int64_t hostStart = -1;  // the start that clockSyncId stands for
  uint64_t clockSyncId = 0;

  std::atomic<bool> ending{false};  // the server is to stop: nothing of a request may go on for long

  // Actions that were posted and have not run yet. While there are none, the refusals are up to date.
  std::atomic<int32_t> pendingActions{0};
  // The last of the waiting starts and stops of the device: its number, doubled, and 1 more for a start; 0 = none
  // waits. Another of the same kind behind it has nothing to add.
  std::atomic<uint64_t> lastSessionAction{0};
  std::atomic<uint64_t> sessionActions{0};
  std::atomic<bool> refreshPosted{false};  // one look at the devices answers all who asked for it by then
  std::atomic<bool> refusalPosted{false};  // the log tells once of all refused starts by then
  std::mutex refusalMutex;                 // guards the texts alone
  std::wstring startRefusal;
  std::wstring stopAsioRefusal;
};

// Starts the server on the port of the options and says where its page is. User-interface thread.
void StartRemote(Application& app);
// Ends it; the user-interface thread must have stopped taking requests, or what waits for it is waited for.
void StopRemote(Application& app);

// Tells every page of something that happened to an action after it was accepted. `action` as in its answer. Any thread
// while the server is there.
void TellPages(Application& app, std::string_view action, const std::wstring& text);

// Lets requests know what would be refused now. User-interface thread, after every change that may matter.
void PublishRefusals(Application& app);

}  // namespace tarnwick::app
