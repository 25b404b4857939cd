// The instance host: its state, starting and stopping it. User-interface thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/host_ui.h"
#include "engine/instance_config.h"
#include "plugin/plugin_module.h"

namespace tarnwick::engine {

// One row of the instance table as the user set it up.
struct InstanceRow {
  InstanceConfig config;
  std::wstring name;
  bool setsFirstParameter = false;  // the first parameter is set from the slider when the effect is created
  int32_t firstParamPercent = 0;    // 0..100; without a choice of the user's, what the effect began with
};

struct Host {
  Host(Engine& audioEngine, HostUi userInterface) : engine(audioEngine), ui(std::move(userInterface)) {}
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  // Stops the host at once when it still runs, on the calling thread.
  ~Host();

  Engine& engine;
  HostUi ui;
  plugin::ModuleState module;
  std::vector<InstanceRow> rows;  // instance i of the engine is row i while the host runs
  std::wstring pluginPath;        // as typed
  bool bypassAll = false;         // every instance is bypassed, whatever its row says; rows keep their own choice
  bool closePending = false;      // the main window goes once the stop has completed
  std::chrono::duration<double> lastRun{};  // time that the host ran for when it was last stopped
};

// Refusals of more than one request.
inline constexpr wchar_t kStopping[] = L"Stop is in progress. Please wait...";
inline constexpr wchar_t kNoMemory[] = L"There is not enough memory for the instances.";

// Logged when a start is asked for without a session.
inline constexpr wchar_t kStartIgnored[] = L"Start request ignored: ASIO session is not running.";

// Why a start would be refused now, as far as can be told without looking at the disk; empty when it would not.
std::wstring StartRefusal(const Host& host);

// Starts the host: checks, effect module, one effect per row, pool. Success also when it runs already. On failure
// nothing is left loaded and `error` holds the user-visible text, which interactive mode also shows in a message box.
bool StartHost(Host& host, std::wstring* error, bool interactive);

// Asks the host to stop; the stop-finished message follows, on which CompleteHostStop is to be called. Completes at
// once when the host does not run. A second request while one is under way does nothing.
void StopHostAsync(Host& host);
void CompleteHostStop(Host& host);

// Time since the host was started; of the last run when it is stopped.
std::chrono::duration<double> HostRunTime(const Host& host);

}  // namespace tarnwick::engine
