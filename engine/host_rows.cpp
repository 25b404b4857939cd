#include "engine/host_rows.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "engine/atomic_word.h"
#include "engine/pool_control.h"
#include "plugin/instance_lifecycle.h"

namespace tarnwick::engine {
namespace {

// A row without a choice takes over what the effect begins with.
void applyFirstParameter(InstanceRow& row, plugin::PluginInstance& effect) {
  if (row.setsFirstParameter) {
    plugin::SetFirstParameter(effect, std::clamp(row.firstParamPercent / 100.0, 0.0, 1.0));
  } else if (const auto value = plugin::FirstParameter(effect)) {
    row.firstParamPercent = static_cast<int32_t>(std::lround(*value * 100.0));
  }
}

// The settings of a row as the audio path gets them.
InstanceConfig effectiveConfig(const Host& host, const InstanceRow& row) {
  InstanceConfig config = row.config;
  if (host.bypassAll) {
    config.bypassEnabled = 1;
  }
  return config;
}

bool hasRow(const Host& host, int32_t index) {
  return index >= 0 && static_cast<size_t>(index) < host.rows.size();
}

// Whether row `index` has a running instance.
bool runs(const Host& host, int32_t index) {
  return host.engine.hostRunning.load() && index >= 0 && index < host.engine.instances.count();
}

}  // namespace

std::wstring CreateFailure(size_t number) {
  return L"Failed to create VST3 instance #" + std::to_wstring(number) + L".";
}

void PublishRow(Host& host, InstanceRow& row, plugin::PluginInstance& effect) {
  applyFirstParameter(row, effect);
  Engine& engine = host.engine;
  InstanceSlot* slot = engine.instances.prepareSlot();
  StoreConfig(slot->config, effectiveConfig(host, row));
  EquipSlot(*slot, &effect, engine.session.blockLength);
  engine.instances.append(slot, engine.session.epoch);
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
      return Refuse(host.ui, CreateFailure(host.rows.size() + 1), error, false);
    }
    host.module.instances.push_back(std::move(instance));
    try {
      PublishRow(host, added, *host.module.instances.back());
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

}  // namespace tarnwick::engine
