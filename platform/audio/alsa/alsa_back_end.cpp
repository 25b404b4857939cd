#include "platform/audio/alsa/alsa_back_end.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/audio/alsa/alsa_devices.h"
#include "platform/audio/alsa/alsa_driver.h"

namespace tarnwick::platform {
namespace {

void ignoreMessage(const char* /*file*/, int /*line*/, const char* /*function*/, int /*error*/, const char* /*format*/,
                   ...) {}

std::vector<AlsaDevice> devices(const AlsaOptions& options) {
  std::vector<AlsaDevice> all = options.devices;
  if (options.hardware) {
    for (AlsaDevice& device : NameAlsaDevices(AlsaCardDevices(), options.devices)) {
      all.push_back(std::move(device));
    }
  }
  all.resize(std::min(all.size(), kMaximumDrivers));
  return all;
}

std::unique_ptr<AudioDriver> driverOf(AlsaDevice device, const AlsaHooks& hooks) {
  const auto driver = std::make_shared<AlsaDriver>(std::move(device), hooks);
  auto record = std::make_unique<AudioDriver>();
  record->ASIOInit = [driver](const AudioInitRequest& request) { return driver->init(request); };
  record->ASIOExit = [driver] { return driver->exit(); };
  record->ASIOGetChannels = [driver](int32_t& inputs, int32_t& outputs) {
    return driver->getChannels(inputs, outputs);
  };
  record->ASIOGetBufferSize = [driver](int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) {
    return driver->getBufferSize(minimum, maximum, preferred, granularity);
  };
  record->ASIOGetLatencies = [driver](int32_t& input, int32_t& output) { return driver->getLatencies(input, output); };
  record->ASIOCreateBuffers = [driver](AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                       const AudioCallbacks& callbacks) {
    return driver->createBuffers(infos, count, blockLength, callbacks);
  };
  record->ASIOGetChannelInfo = [driver](AudioChannelInfo& info) { return driver->getChannelInfo(info); };
  // A block is played as soon as the callback returns.
  record->ASIOOutputReady = [] { return ASE_NotPresent; };
  record->ASIOStart = [driver] { return driver->start(); };
  record->ASIOStop = [driver] { return driver->stop(); };
  record->ASIODisposeBuffers = [driver] { return driver->disposeBuffers(); };
  record->ASIOControlPanel = [] { return ASE_NotPresent; };
  record->keepAlive = driver;
  return record;
}

}  // namespace

AudioBackEnd AlsaBackEnd(AlsaHooks hooks, AlsaOptions options) {
  snd_lib_error_set_handler(&ignoreMessage);
  const auto given = std::make_shared<const AlsaOptions>(std::move(options));
  AudioBackEnd result;
  result.asioGetDriverNames = [given] {
    std::vector<std::wstring> names;
    for (const AlsaDevice& device : devices(*given)) {
      names.push_back(device.name);
    }
    return names;
  };
  result.loadAsioDriver = [given, hooks = std::move(hooks)](const std::wstring& name) -> std::unique_ptr<AudioDriver> {
    for (AlsaDevice& device : devices(*given)) {
      if (device.name == name) {
        return driverOf(std::move(device), hooks);
      }
    }
    return nullptr;
  };
  return result;
}

}  // namespace tarnwick::platform
