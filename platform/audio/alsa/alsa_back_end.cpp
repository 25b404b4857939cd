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

}  // namespace

AudioBackEnd AlsaBackEnd(BackEndHooks hooks, AlsaOptions options) {
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
        return std::make_unique<AlsaDriver>(std::move(device), hooks);
      }
    }
    return nullptr;
  };
  return result;
}

}  // namespace tarnwick::platform
