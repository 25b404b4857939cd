#include "engine/host.h"

#include <algorithm>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "engine/host_rows.h"
#include "engine/pool_control.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "platform/threads.h"
#include "plugin/instance_lifecycle.h"

namespace tarnwick::engine {
namespace {

std::chrono::duration<double> timeSinceStart(const Engine& engine) {
  const int64_t ticks = engine.counterNow() - engine.hostStartTimestamp.load();
  return std::chrono::duration<double>(static_cast<double>(ticks) / static_cast<double>(platform::CounterFrequency()));
}

std::wstring missingChannels(const InstanceConfig& config) {
  const bool noInput = config.inputChannel < 0;
  const bool noOutput = config.outputChannel < 0;
  return noInput && noOutput ? L"input and output channels"
         : noInput           ? L"the input channel"
         : noOutput          ? L"the output channel"
                             : L"";
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

// The refusals that need nothing loaded; the disk is looked at only when asked to.
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

bool createRunners(Host& host, std::wstring* error, bool interactive) {
  const DeviceSession& session = host.engine.session;
  for (size_t i = 0; i < host.rows.size(); ++i) {
    auto instance = plugin::CreateInstance(host.module, session.sampleRate.load(), session.blockLength);
    if (!instance) {
      plugin::UnloadModule(host.module);
      return Refuse(host.ui, CreateFailure(i + 1), error, interactive, BoxKind::error);
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
    for (size_t i = 0; i < host.rows.size(); ++i) {
      PublishRow(host, host.rows[i], *host.module.instances[i]);
    }
  } catch (const std::bad_alloc&) {
    releaseInstances(host);
    return Refuse(host.ui, kNoMemory, error, interactive, BoxKind::error);
  }
  ReconfigurePool(engine, true);
  resetTotals(engine);
  engine.glitchesArmed.store(true);
  engine.hostStartTimestamp.store(engine.counterNow());
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
    host.lastRun = timeSinceStart(engine);
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

std::chrono::duration<double> HostRunTime(const Host& host) {
  return host.engine.hostRunning.load() ? timeSinceStart(host.engine) : host.lastRun;
}

}  // namespace tarnwick::engine
