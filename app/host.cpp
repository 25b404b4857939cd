#include "app/host.h"

#include <algorithm>
#include <cmath>

#include "app/application.h"
#include "app/captions.h"
#include "platform/paths.h"
#include "platform/trace.h"

namespace tarnwick::app {
namespace {

engine::InstanceRow rowAt(int32_t index) {
  engine::InstanceRow row;
  row.config.inputChannel = index;
  row.config.outputChannel = index;
  row.name = L"Instance " + std::to_wstring(index + 1);
  return row;
}

void tellMissingChannels(Application& app) {
  const engine::DeviceSession& session = app.engine.session;
  const auto unwired = [&session](const engine::InstanceRow& row) {
    return row.config.inputChannel >= session.numInputs || row.config.outputChannel >= session.numOutputs;
  };
  const auto silent = std::count_if(app.host.rows.begin(), app.host.rows.end(), unwired);
  if (silent > 0) {
    app.log.add(InstanceCaption(static_cast<size_t>(silent)) + L" wired to channels that the device, with " +
                std::to_wstring(session.numInputs) + L" inputs and " + std::to_wstring(session.numOutputs) +
                L" outputs, does not have.");
  }
}

// A finite number of dB, in range after clamping.
int32_t gainOf(double db) {
  return engine::ClampGainDb(static_cast<int64_t>(std::clamp(db, -1000.0, 1000.0)));
}

// Whether -1 (none) or a channel that there is, or may be once a device is open.
bool isChannel(const Application& app, const std::optional<int32_t>& channel, int32_t available) {
  const int32_t limit = app.engine.asioRunning.load() ? available : engine::kMostChannels;
  return !channel || (*channel >= -1 && *channel < limit);
}

engine::InstanceConfig changedConfig(engine::InstanceConfig config, const InstanceChange& change) {
  config.inputChannel = change.inputChannel.value_or(config.inputChannel);
  config.outputChannel = change.outputChannel.value_or(config.outputChannel);
  config.inputGainDb = change.inputGainDb ? gainOf(*change.inputGainDb) : config.inputGainDb;
  config.outputGainDb = change.outputGainDb ? gainOf(*change.outputGainDb) : config.outputGainDb;
  config.bypassEnabled = change.bypassEnabled.value_or(config.bypassEnabled != 0) ? 1 : 0;
  config.testSignalEnabled = change.testSignalEnabled.value_or(config.testSignalEnabled != 0) ? 1 : 0;
  return config;
}

}  // namespace

std::wstring BundledEffect() {
  return platform::JoinPath(platform::ExecutableFolder(), L"Ombrel.vst3");
}

void ChooseEffect(Application& app, const std::wstring& path) {
  app.host.pluginPath = path;
  app.log.add(L"Effect: " + path + (app.engine.hostRunning.load() ? L" (used when the host is started again)" : L""));
  app.changed(Changed::setting);
}

bool StartHost(Application& app, std::wstring* error, bool interactive) {
  const bool stopping = app.engine.hostStopping.load();  // the one refusal that the engine logs by itself
  std::wstring reason;
  const platform::TraceScope trace;
  if (!engine::StartHost(app.host, &reason, interactive)) {
    if (!stopping) {
      app.log.add(reason);
    }
    app.log.addReasons();
    if (error != nullptr) {
      *error = reason;
    }
    return false;
  }
  tellMissingChannels(app);
  app.device.virtualDevice->release();
  app.changed(Changed::state);
  return true;
}

void StopHost(Application& app) {
  engine::StopHostAsync(app.host);
  app.changed(Changed::state);
}

void FinishHostStop(Application& app) {
  engine::CompleteHostStop(app.host);
  app.changed(Changed::state);
}

void AddWiredInstances(Application& app, int32_t count) {
  std::wstring error;
  const platform::TraceScope trace;
  for (auto i = static_cast<int32_t>(app.host.rows.size()); i < count; ++i) {
    if (!engine::AddInstance(app.host, rowAt(i), &error)) {
      app.log.add(error);
      app.log.addReasons();
      break;
    }
  }
  app.changed(Changed::state);
}

bool AddNextInstance(Application& app, std::wstring* error) {
  const platform::TraceScope trace;
  if (!engine::AddInstance(app.host, rowAt(static_cast<int32_t>(app.host.rows.size())), error)) {
    app.log.addReasons();
    return false;
  }
  if (app.engine.asioRunning.load()) {
    tellMissingChannels(app);
  }
  app.changed(Changed::instances);
  return true;
}

bool RemoveLastInstance(Application& app, std::wstring* error) {
  if (!engine::RemoveInstance(app.host, static_cast<int32_t>(app.host.rows.size()) - 1, error)) {
    return false;
  }
  app.changed(Changed::instances);
  return true;
}

bool ChangeInstance(Application& app, size_t index, const InstanceChange& change, std::wstring& error) {
  const engine::DeviceSession& session = app.engine.session;
  if (index >= app.host.rows.size()) {
    error = L"There is no such instance.";
    return false;
  }
  if (!isChannel(app, change.inputChannel, session.numInputs) ||
      !isChannel(app, change.outputChannel, session.numOutputs)) {
    error = L"The device does not have this channel.";
    return false;
  }
  const auto row = static_cast<int32_t>(index);
  if (change.firstParamPercent) {
    const double percent = std::clamp(*change.firstParamPercent, 0.0, 100.0);
    if (!engine::SetFirstParamPercent(app.host, row, static_cast<int32_t>(std::lround(percent)))) {
      error = L"The effect does not take this value.";
      return false;
    }
  }
  engine::ConfigureInstance(app.host, row, changedConfig(app.host.rows[index].config, change));
  app.host.rows[index].name = change.name.value_or(app.host.rows[index].name);
  app.changed(Changed::instances);
  return true;
}

void SetBypassAll(Application& app, bool enabled) {
  engine::SetBypassAll(app.host, enabled);
  app.changed(Changed::setting);
}

void SetTestSignalAll(Application& app, bool enabled) {
  app.engine.testSignalAll = enabled;
  app.changed(Changed::setting);
}

}  // namespace tarnwick::app
