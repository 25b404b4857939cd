#include "remote/documents_status.h"

#include <type_traits>
#include <variant>

#include "system/priority.h"

namespace tarnwick::remote {
namespace {

constexpr size_t kStatusBytes = 4096;
constexpr size_t kInstanceBytes = 320;

void writeInstance(text::JsonWriter& json, size_t index, const RemoteInstance& instance) {
  json.open('{');
  json.key("index").natural(index);
  json.key("name").string(instance.name);
  json.key("inputChannel").integer(instance.inputChannel);
  json.key("outputChannel").integer(instance.outputChannel);
  json.key("inputGainDb").decibels(instance.inputGainDb);
  json.key("outputGainDb").decibels(instance.outputGainDb);
  json.key("inputMeterDb").decibels(instance.inputMeterDb);
  json.key("outputMeterDb").decibels(instance.outputMeterDb);
  json.key("glitchCount").natural(instance.glitchCount);
  json.key("firstParamPercent").percent(instance.firstParamPercent);
  json.key("bypassEnabled").boolean(instance.bypassEnabled);
  json.key("testSignalEnabled").boolean(instance.testSignalEnabled);
  json.key("hasSavedFirstParam").boolean(instance.hasSavedFirstParam);
  json.close('}');
}

void writeSteering(text::JsonWriter& json, const RemoteCpuSteering& steering) {
  // By SteeringGroup.
  constexpr std::array<const char*, system::kSteeringGroups> kMasks{"engineMask", "recordMask", "playbackMask",
                                                                    "networkUiMask", "otherProcessesMask"};
  constexpr std::array<const char*, system::kSteeringGroups> kDisplays{
      "engineDisplay", "recordDisplay", "playbackDisplay", "networkUiDisplay", "otherProcessesDisplay"};
  json.open('{');
  json.key("cpuCount").integer(steering.cpuCount);
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    json.key(kMasks[group]).natural(steering.masks[group]);
  }
  for (size_t group = 0; group < system::kSteeringGroups; ++group) {
    json.key(kDisplays[group]).string(steering.display[group]);
  }
  json.close('}');
}

void writeDeviceOptions(text::JsonWriter& json, const RemoteStatusSnapshot& status) {
  json.key("deviceOptions").open('[');
  for (const std::wstring& device : status.deviceOptions) {
    json.string(device);
  }
  json.close(']').key("sampleRateOptions").open('[');
  for (const double rate : status.sampleRateOptions) {
    json.hertz(rate);
  }
  json.close(']').key("bufferSizeOptions").open('[');
  for (const int32_t size : status.bufferSizeOptions) {
    json.integer(size);
  }
  json.close(']');
}

void writeSettings(text::JsonWriter& json, const std::vector<RemoteSetting>& settings) {
  for (const RemoteSetting& setting : settings) {
    json.key(setting.key);
    std::visit(
        [&json](const auto& value) {
          using Held = std::decay_t<decltype(value)>;
          if constexpr (std::is_same_v<Held, bool>) {
            json.boolean(value);
          } else if constexpr (std::is_same_v<Held, int32_t>) {
            json.integer(value);
          } else if constexpr (std::is_same_v<Held, double>) {
            json.number(value);
          } else if constexpr (std::is_same_v<Held, uint64_t>) {
            json.natural(value);
          } else {
            json.string(std::wstring_view(value));
          }
        },
        setting.value);
  }
}

void writePriorityOptions(text::JsonWriter& json) {
  json.key("priorityOptions").open('[');
  for (const system::Priority& priority : system::kPriorities) {
    json.string(std::wstring_view(priority.name));
  }
  json.close(']');
}

void writeUsage(text::JsonWriter& json, const RemoteStatusSnapshot& status) {
  json.key("cpuUsagePercent").percent(status.cpuUsagePercent);
  json.key("cpuCoreUsagePercents").open('[');
  for (const float usage : status.cpuCoreUsagePercents) {
    json.percent(usage);
  }
  json.close(']');
}

}  // namespace

void WriteStatusMembers(text::JsonWriter& json, const RemoteStatusSnapshot& status) {
  json.key("service").string(std::string_view("Tarnwick"));
  json.key("running").boolean(status.running);
  json.key("stopping").boolean(status.stopping);
  json.key("asioRunning").boolean(status.asioRunning);
  json.key("playbackRunning").boolean(status.playbackRunning);
  json.key("recordRunning").boolean(status.recordRunning);
  json.key("runningClockSyncId").natural(status.runningClockSyncId);
  json.key("recordClockSyncId").natural(status.recordClockSyncId);
  json.key("runningElapsedSeconds").seconds(status.runningElapsedSeconds);
  writeSettings(json, status.switches);
  json.key("recordElapsedSeconds").seconds(status.recordElapsedSeconds);
  json.key("availableInputChannels").integer(status.availableInputChannels);
  json.key("availableOutputChannels").integer(status.availableOutputChannels);
  json.key("pluginPath").string(status.pluginPath);
  json.key("device").string(status.device);
  json.key("sampleRate").hertz(status.sampleRate);
  json.key("bufferSize").integer(status.bufferSize);
  json.key("inputLatency").integer(status.inputLatency);
  json.key("outputLatency").integer(status.outputLatency);
  json.key("cpuDisplayName").string(status.cpuDisplayName);
  writeDeviceOptions(json, status);
  writeSettings(json, status.settings);
  writePriorityOptions(json);
  writeUsage(json, status);
  json.key("cpuSteering");
  writeSteering(json, status.cpuSteering);
  json.key("instanceCount").natural(status.instances.size());
  json.key("instances").open('[');
  for (size_t k = 0; k < status.instances.size(); ++k) {
    writeInstance(json, k, status.instances[k]);
  }
  json.close(']');
}

size_t StatusBytes(const RemoteStatusSnapshot& status) {
  return kStatusBytes + status.instances.size() * kInstanceBytes;
}

}  // namespace tarnwick::remote
