#include <utility>

#include "platform/audio/audio_driver.h"

namespace tarnwick::platform {

AudioBackEnd CombineBackEnds(std::vector<AudioBackEnd> backEnds) {
  auto all = std::make_shared<const std::vector<AudioBackEnd>>(std::move(backEnds));
  AudioBackEnd combined;
  combined.asioGetDriverNames = [all] {
    std::vector<std::wstring> names;
    for (const AudioBackEnd& backEnd : *all) {
      for (std::wstring& name : backEnd.asioGetDriverNames()) {
        if (names.size() < kMaximumDrivers) {
          names.push_back(std::move(name));
        }
      }
    }
    return names;
  };
  combined.loadAsioDriver = [all](const std::wstring& name) -> std::unique_ptr<AudioDriver> {
    for (const AudioBackEnd& backEnd : *all) {
      if (std::unique_ptr<AudioDriver> driver = backEnd.loadAsioDriver(name)) {
        return driver;
      }
    }
    return nullptr;
  };
  for (const AudioBackEnd& backEnd : *all) {
    combined.ownDevices.insert(combined.ownDevices.end(), backEnd.ownDevices.begin(), backEnd.ownDevices.end());
  }
  return combined;
}

}  // namespace tarnwick::platform
