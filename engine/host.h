// The instance host: its rows, starting and stopping it, and changing instances while it runs. User-interface thread
// unless said otherwise.
#pragma once

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
  double lastRunSeconds = 0.0;    // how long the host ran when it was last stopped
};

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

// Adds a row; while the host runs its effect is created and the instance is heard from the next block on. False when
// there are 127 already or the effect cannot be created (nothing is added then).
bool AddInstance(Host& host, const InstanceRow& row, std::wstring* error);
// Removes row `index`; while the host runs the others play on without a gap. False when there is no such row, or a stop
// is under way.
bool RemoveInstance(Host& host, int32_t index, std::wstring* error);
// Takes over changed settings of a row; the audio path sees them at its next block. False when there is no such row.
bool ConfigureInstance(Host& host, int32_t index, const InstanceConfig& config);
// Bypasses all instances, or returns each to its row's own choice.
void SetBypassAll(Host& host, bool enabled);
// Sets a row's first parameter, 0..100 percent (clamped), and the running effect's. False when there is no such row or
// the running effect refuses; nothing has changed then.
bool SetFirstParamPercent(Host& host, int32_t index, int32_t percent);

// What the rows show. -100 dB and 0 for a row that does not run.
float InstanceMeterDb(const Host& host, int32_t index);
uint64_t InstanceGlitchCount(const Host& host, int32_t index);
// Level of the device output that the row's instance is added to, by the same formula; -100 dB without one.
float InstanceOutputDb(const Host& host, int32_t index);
// Seconds since the host was started; of the last run when it is stopped.
double HostRunSeconds(const Host& host);

}  // namespace tarnwick::engine
