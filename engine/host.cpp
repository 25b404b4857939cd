#include "engine/host.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "engine/atomic_word.h"
#include "engine/pool_control.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::engine {
namespace {

constexpr wchar_t kStopping[] = L"Stop is in progress. Please wait...";
constexpr wchar_t kNoMemory[] = L"There is not enough memory for the instances.";

double secondsSince(int64_t timestamp) {
  return static_cast<double>(platform::CounterNow() - timestamp) / static_cast<double>(platform::CounterFrequency());
}

std::wstring missingChannels(const InstanceConfig& config) {
  const bool noInput = config.inputChannel < 0;
  const bool noOutput = config.outputChannel < 0;
  return noInput && noOutput ? L"input and output channels"
         : noInput           ? L"the input channel"
         : noOutput          ? L"the output channel"
                             : L"";
}

std::wstring createFailure(size_t instanceNumber) {
  return L"Failed to create VST3 instance #" + std::to_wstring(instanceNumber) + L".";
}

// A row without a choice takes over what the effect begins with.
void applyFirstParameter(InstanceRow& row, plugin::PluginInstance& instance) {
  if (row.setsFirstParameter) {
    plugin::SetFirstParameter(instance, std::clamp(row.firstParamPercent / 100.0, 0.0, 1.0));
  } else if (const auto value = plugin::FirstParameter(instance)) {
    row.firstParamPercent = static_cast<int32_t>(std::lround(*value * 100.0));
  }
}

// What the audio path gets of a row.
InstanceConfig effectiveConfig(const Host& host, const InstanceRow& row) {
  InstanceConfig config = row.config;
  if (host.bypassAll) {
    config.bypassEnabled = 1;
  }
  return config;
}

// Gives a free slot all that a block needs of it and publishes it as the last instance.
void publishInstance(Host& host, const InstanceRow& row, plugin::PluginInstance* runner) {
  Engine& engine = host.engine;
  InstanceSlot* slot = engine.instances.prepareSlot();
  const auto length = static_cast<size_t>(std::max(engine.session.blockLength, 0));
  StoreConfig(slot->config, effectiveConfig(host, row));
  slot->runner = runner;
  slot->input.assign(length, 0.0f);
  slot->output.assign(length, 0.0f);
  ArmDetector(slot->glitch, engine.session.blockLength);
  engine.instances.append(slot, engine.session.epoch);
}

// Everything that a start built. No block may be processing instances.
void releaseInstances(Host& host) {
  host.engine.instances.clear(host.engine.session.epoch);
  plugin::UnloadModule(host.module);
}

struct Refusal {
  std::wstring text;  // empty = none
  BoxKind kind = BoxKind::warning;
};

// What can be told before anything is loaded; of the disk only when asked to.
Refusal startRefusal(const Host& host, bool lookAtFile) {
  if (!host.engine.asioRunning.load()) {
    return {std::wstring(L"Press ASIO Start first, then ") + L"start the instance host" + L".", BoxKind::information};
  }
  if (lookAtFile && !platform::FileExists(platform::Trimmed(host.pluginPath))) {
    return {L"Select a valid VST3 plugin file before starting."};
  }
  if (host.rows.empty()) {
    return {L"Add at least one VST instance."};
  }
  for (size_t i = 0; i < host.rows.size(); ++i) {
    const std::wstring missing = missingChannels(host.rows[i].config);
    if (!missing.empty()) {
      return {L"Set " + missing + L" for instance #" + std::to_wstring(i + 1) + L"."};
    }
  }
  return {};
}

// False with the refusal reported.
bool readyToStart(Host& host, std::wstring* error, bool interactive) {
  if (!host.engine.asioRunning.load()) {
    host.ui.log(kStartIgnored);
  }
  for (InstanceRow& row : host.rows) {
    DeriveGains(row.config);
  }
  const Refusal refusal = startRefusal(host, true);
  return refusal.text.empty() || Refuse(host.ui, refusal.text, error, interactive, refusal.kind);
}

// Publishes the rows' instances, with the first parameters that they ask for.
void publishRows(Host& host) {
  for (size_t i = 0; i < host.rows.size(); ++i) {
    applyFirstParameter(host.rows[i], *host.module.instances[i]);
    publishInstance(host, host.rows[i], host.module.instances[i].get());
  }
}

bool createRunners(Host& host, std::wstring* error, bool interactive) {
  const DeviceSession& session = host.engine.session;
  for (size_t i = 0; i < host.rows.size(); ++i) {
    auto instance = plugin::CreateInstance(host.module, session.sampleRate.load(), session.blockLength);
    if (!instance) {
      plugin::UnloadModule(host.module);
      return Refuse(host.ui, createFailure(i + 1), error, interactive, BoxKind::error);
    }
    host.module.instances.push_back(std::move(instance));
  }
  return true;
}

void resetTotals(Engine& engine) {
  std::fill(engine.outputTotals.begin(), engine.outputTotals.end(), ChannelTotals{});
  engine.counters.skippedBlocks.store(0);
  engine.counters.hostTicks.store(0);
  engine.counters.hostCount.store(0);
  engine.counters.hostMaxTicks.store(0);
}

// Off the user-interface thread: takes the pool out, lets it go, reports back.
void stopThread(Engine& engine, const std::function<bool()>& postStopFinished) {
  platform::SetThreadName("twk-host-stop");
  system::ThreadSteering steering;
  system::ApplyIfChanged(engine.steering, system::SteeringGroup::networkUi, steering);
  ReleasePool(engine, TakePool(engine));
  // A full queue empties again; without its message the stop would never be completed. When nobody takes messages any
  // more, the host's owner completes the stop itself.
  constexpr int kTries = 1000;
  for (int tries = 0; tries < kTries && !postStopFinished(); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool hasRow(const Host& host, int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < host.rows.size();
}

// Whether row `index` has a running instance.
bool runs(const Host& host, int32_t index) {
  return host.engine.hostRunning.load() && index >= 0 && index < host.engine.instances.count();
}

}  // namespace

Host::~Host() {
  engine.hostStopping.store(true);
  while (engine.pendingReleases.load() > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ReleasePool(engine, TakePool(engine));
  engine.hostRunning.store(false);
  releaseInstances(*this);
  engine.hostStopping.store(false);
}

std::wstring StartRefusal(const Host& host) {
  if (host.engine.hostStopping.load()) {
    return kStopping;
  }
  return host.engine.hostRunning.load() ? L"" : startRefusal(host, false).text;
}

bool StartHost(Host& host, std::wstring* error, bool interactive) {
  Engine& engine = host.engine;
  if (engine.hostStopping.load()) {
    host.ui.log(kStopping);
    return Refuse(host.ui, kStopping, error, false);
  }
  if (engine.hostRunning.load()) {
    return true;
  }
  if (!readyToStart(host, error, interactive)) {
    return false;
  }
  if (!plugin::LoadModule(host.module, platform::Trimmed(host.pluginPath))) {
    return Refuse(host.ui, L"Failed to load the selected VST3 plugin file.", error, interactive, BoxKind::error);
  }
  if (!createRunners(host, error, interactive)) {
    return false;
  }
  try {
    publishRows(host);
  } catch (const std::bad_alloc&) {
    releaseInstances(host);
    return Refuse(host.ui, kNoMemory, error, interactive, BoxKind::error);
  }
  ReconfigurePool(engine, true);
  resetTotals(engine);
  engine.glitchesArmed.store(true);
  engine.hostStartTimestamp.store(platform::CounterNow());
  engine.hostRunning.store(true);
  host.ui.log(L"Host running.");
  engine.meteringEnabled.store(true);
  return true;
}

void StopHostAsync(Host& host) {
  Engine& engine = host.engine;
  if (engine.hostStopping.exchange(true)) {
    return;
  }
  if (!engine.hostRunning.load()) {
    CompleteHostStop(host);
    return;
  }
  host.ui.log(L"Stopping host asynchronously...");
  engine.pendingReleases.fetch_add(1);
  try {
    std::thread([&engine, post = host.ui.postStopFinished] {
      stopThread(engine, post);
      engine.pendingReleases.fetch_sub(1);
    }).detach();
  } catch (const std::system_error&) {
    engine.pendingReleases.fetch_sub(1);
    ReleasePool(engine, TakePool(engine));
    CompleteHostStop(host);
  }
}

void CompleteHostStop(Host& host) {
  Engine& engine = host.engine;
  if (engine.hostRunning.load()) {
    host.lastRunSeconds = secondsSince(engine.hostStartTimestamp.load());
    engine.hostRunning.store(false);
    AwaitCallbackIdle(engine.session.epoch);
    AwaitAnnouncements(engine.session);  // the last block's time counts as well
    host.ui.hostQuiet();
    releaseInstances(host);
    engine.hostStartTimestamp.store(-1);
    engine.counters.callbackCount.store(0);
    host.ui.log(L"Host stopped.");
  }
  engine.hostStopping.store(false);
  if (host.closePending) {
    host.closePending = false;
    host.ui.destroyMainWindow();
  }
}

bool AddInstance(Host& host, const InstanceRow& row, std::wstring* error) {
  Engine& engine = host.engine;
  if (host.rows.size() >= kMaximumInstances) {
    return Refuse(host.ui, L"No more than 127 instances are possible.", error, false);
  }
  if (engine.hostStopping.load()) {
    return Refuse(host.ui, kStopping, error, false);
  }
  InstanceRow added = row;
  added.firstParamPercent = std::clamp(added.firstParamPercent, 0, 100);
  DeriveGains(added.config);
  if (engine.hostRunning.load()) {
    const DeviceSession& session = engine.session;
    auto instance = plugin::CreateInstance(host.module, session.sampleRate.load(), session.blockLength);
    if (!instance) {
      return Refuse(host.ui, createFailure(host.rows.size() + 1), error, false);
    }
    applyFirstParameter(added, *instance);
    host.module.instances.push_back(std::move(instance));
    try {
      publishInstance(host, added, host.module.instances.back().get());
    } catch (const std::bad_alloc&) {
      plugin::DestroyInstance(host.module, std::move(host.module.instances.back()));
      host.module.instances.pop_back();
      return Refuse(host.ui, kNoMemory, error, false);
    }
  }
  host.rows.push_back(std::move(added));
  ReconfigurePool(engine, false);
  return true;
}

bool RemoveInstance(Host& host, int32_t index, std::wstring* error) {
  Engine& engine = host.engine;
  if (!hasRow(host, index)) {
    return Refuse(host.ui, L"There is no such instance.", error, false);
  }
  if (engine.hostStopping.load()) {
    return Refuse(host.ui, kStopping, error, false);
  }
  if (runs(host, index)) {
    engine.instances.remove(index, engine.session.epoch);
    const auto at = host.module.instances.begin() + index;
    plugin::DestroyInstance(host.module, std::move(*at));
    host.module.instances.erase(at);
  }
  host.rows.erase(host.rows.begin() + index);
  ReconfigurePool(engine, false);
  return true;
}

bool ConfigureInstance(Host& host, int32_t index, const InstanceConfig& config) {
  if (!hasRow(host, index)) {
    return false;
  }
  InstanceRow& row = host.rows[static_cast<size_t>(index)];
  row.config = config;
  DeriveGains(row.config);
  if (runs(host, index)) {
    StoreConfig(host.engine.instances.instance(index).config, effectiveConfig(host, row));
  }
  return true;
}

void SetBypassAll(Host& host, bool enabled) {
  host.bypassAll = enabled;
  for (int32_t i = 0; runs(host, i); ++i) {
    StoreConfig(host.engine.instances.instance(i).config, effectiveConfig(host, host.rows[static_cast<size_t>(i)]));
  }
}

bool SetFirstParamPercent(Host& host, int32_t index, int32_t percent) {
  if (!hasRow(host, index)) {
    return false;
  }
  const int32_t within = std::clamp(percent, 0, 100);
  if (runs(host, index) &&
      !plugin::SetFirstParameter(*host.module.instances[static_cast<size_t>(index)], within / 100.0)) {
    return false;
  }
  InstanceRow& row = host.rows[static_cast<size_t>(index)];
  row.firstParamPercent = within;
  row.setsFirstParameter = true;
  return true;
}

float InstanceMeterDb(const Host& host, int32_t index) {
  return runs(host, index) ? LoadWord(host.engine.instances.instance(index).meterDb) : kNoSignalDb;
}

uint64_t InstanceGlitchCount(const Host& host, int32_t index) {
  return runs(host, index) ? LoadWord(host.engine.instances.instance(index).glitch.glitchCount) : 0;
}

float InstanceOutputDb(const Host& host, int32_t index) {
  if (!runs(host, index)) {
    return kNoSignalDb;
  }
  const int32_t channel = host.rows[static_cast<size_t>(index)].config.outputChannel;
  if (channel < 0 || channel >= std::min(host.engine.session.numOutputs, kMeteredChannels)) {
    return kNoSignalDb;
  }
  return RingLevelDb(host.engine.outputMeters.ring(channel));
}

double HostRunSeconds(const Host& host) {
  return host.engine.hostRunning.load() ? secondsSince(host.engine.hostStartTimestamp.load()) : host.lastRunSeconds;
}

}  // namespace tarnwick::engine
