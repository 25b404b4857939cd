// Every request about the host and its instances; their state is the engine's (engine/host.h). User-interface thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarnwick::app {

struct Application;

// The effect that comes with the program, beside its executable.
std::wstring BundledEffect();
// Chooses the effect's module file, which a running host takes at its next start.
void ChooseEffect(Application& app, const std::wstring& path);

// Starts the host and says in the log which instances stay silent. `error` receives the reason of a failure, which the
// log has too; interactive requests show it in a message box as well. Success also when the host runs already.
bool StartHost(Application& app, std::wstring* error, bool interactive);
// Begins to stop the host; what waits for the end listens to `changed`. A second request while one is under way does
// nothing.
void StopHost(Application& app);
// To be called on the stop-finished message.
void FinishHostStop(Application& app);

// Adds instances until there are `count`, each wired from the input to the output of its own number. For the start of
// the program: nothing of it is remembered.
void AddWiredInstances(Application& app, int32_t count);
// Adds one after the last, wired from the input to the output of its own number, whether the device has these or not:
// an instance without channels would keep the host from its next start.
bool AddNextInstance(Application& app, std::wstring* error);
bool RemoveLastInstance(Application& app, std::wstring* error);

// A change of an instance; what is absent stays.
struct InstanceChange {
  std::optional<std::wstring> name;
  std::optional<int32_t> inputChannel;  // from 0; -1 = none
  std::optional<int32_t> outputChannel;
  std::optional<double> inputGainDb;  // finite; a fraction is cut off
  std::optional<double> outputGainDb;
  std::optional<bool> bypassEnabled;
  std::optional<bool> testSignalEnabled;
  std::optional<double> firstParamPercent;  // finite
};

// Makes the whole change or none of it: false with a sentence in `error`. Gains and the percentage are brought into
// their range; while a device runs, channels must be its own.
bool ChangeInstance(Application& app, size_t index, const InstanceChange& change, std::wstring& error);
// Bypasses all instances, or returns each to its own choice.
void SetBypassAll(Application& app, bool enabled);
// Feeds pink noise to all instances, or returns each to its own choice.
void SetTestSignalAll(Application& app, bool enabled);

}  // namespace tarnwick::app
