#include "app/remote/status.h"

#include <algorithm>
#include <bit>

#include "app/settings_table.h"

namespace tarnwick::app {
namespace {

constexpr double kUsualRates[] = {44100.0, 48000.0, 88200.0, 96000.0, 176400.0, 192000.0};
constexpr int32_t kUsualBlockLengths[] = {32, 64, 128, 256, 512, 1024, 2048};

// The usual values and, among them, the one that is set.
template <class Value, size_t N>
std::vector<Value> optionsWith(const Value (&usual)[N], Value present) {
  std::vector<Value> options(std::begin(usual), std::end(usual));
  if (present > 0 && std::find(options.begin(), options.end(), present) == options.end()) {
    options.insert(std::upper_bound(options.begin(), options.end(), present), present);
  }
  return options;
}

void fillDevice(const Application& app, remote::RemoteStatusSnapshot& status) {
  const engine::DeviceSession& session = app.engine.session;
  const bool open = app.engine.asioRunning.load();
  status.asioRunning = open;
  status.availableInputChannels = session.numInputs;
  status.availableOutputChannels = session.numOutputs;
  status.device = app.device.list.devices.empty() ? app.device.list.placeholder : app.device.list.selected;
  status.sampleRate = open ? session.sampleRate.load() : app.preferences.sampleRate;
  status.bufferSize = open ? session.blockLength : app.preferences.bufferSize;
  status.inputLatency = app.device.latencies.input;
  status.outputLatency = app.device.latencies.output;
  status.deviceOptions = app.device.list.devices;
  if (status.deviceOptions.empty() && !app.device.list.placeholder.empty()) {
    status.deviceOptions.push_back(app.device.list.placeholder);
  }
  status.sampleRateOptions = optionsWith(kUsualRates, status.sampleRate);
  status.bufferSizeOptions = optionsWith(kUsualBlockLengths, status.bufferSize);
}

void fillHost(Application& app, remote::RemoteStatusSnapshot& status) {
  status.running = app.engine.hostRunning.load();
  status.stopping = app.engine.hostStopping.load();
  const int64_t started = app.engine.hostStartTimestamp.load();
  if (started != app.remote.hostStart) {
    app.remote.hostStart = started;
    ++app.remote.clockSyncId;
  }
  status.runningClockSyncId = app.remote.clockSyncId;
  status.runningElapsedSeconds = engine::HostRunTime(app.host).count();
  status.pluginPath = app.host.pluginPath;
}

void fillSettings(const Application& app, remote::RemoteStatusSnapshot& status) {
  status.switches.clear();
  status.settings.clear();
  for (const Setting& setting : Settings()) {
    if (setting.member != Member::own) {
      auto& members = setting.member == Member::switches ? status.switches : status.settings;
      members.push_back({setting.key, *setting.access.get(app)});
    }
  }
}

void fillSteering(const Application& app, remote::RemoteStatusSnapshot& status) {
  remote::RemoteCpuSteering& steering = status.cpuSteering;
  steering.cpuCount = static_cast<int32_t>(std::bit_width(system::KnownProcessors()));
  steering.masks = system::ChosenMasks(app.steering);
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    steering.display[group] = system::MaskText(steering.masks[group]);
  }
}

remote::RemoteInstance instanceAt(const engine::Host& host, int32_t index) {
  const engine::InstanceRow& row = host.rows[static_cast<size_t>(index)];
  remote::RemoteInstance instance;
  instance.name = row.name;
  instance.inputChannel = row.config.inputChannel;
  instance.outputChannel = row.config.outputChannel;
  instance.inputGainDb = row.config.inputGainDb;
  instance.outputGainDb = row.config.outputGainDb;
  instance.inputMeterDb = engine::InstanceMeterDb(host, index);
  instance.outputMeterDb = engine::InstanceOutputDb(host, index);
  instance.glitchCount = engine::InstanceGlitchCount(host, index);
  instance.firstParamPercent = row.firstParamPercent;
  instance.bypassEnabled = row.config.bypassEnabled != 0;
  instance.testSignalEnabled = row.config.testSignalEnabled != 0;
  instance.hasSavedFirstParam = row.setsFirstParameter;
  return instance;
}

}  // namespace

void FillRemoteStatus(Application& app, remote::RemoteStatusSnapshot& status) {
  fillDevice(app, status);
  fillHost(app, status);
  fillSettings(app, status);
  fillSteering(app, status);
  status.instances.clear();
  status.instances.reserve(app.host.rows.size());
  for (int32_t i = 0; i < static_cast<int32_t>(app.host.rows.size()); ++i) {
    status.instances.push_back(instanceAt(app.host, i));
  }
}

}  // namespace tarnwick::app
