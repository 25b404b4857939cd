#include "platform/audio/asio/asio_back_end.h"

#include <algorithm>
#include <utility>

#include "platform/audio/asio/asio_driver.h"
#include "platform/audio/asio/asio_registry.h"

namespace tarnwick::platform {
AudioBackEnd AsioBackEnd(AsioOptions options) {
  AudioBackEnd backEnd;
  backEnd.asioGetDriverNames = [] {
    std::vector<std::wstring> names;
    for (AsioEntry& entry : InstalledAsioDrivers()) {
      names.push_back(std::move(entry.name));
    }
    return names;
  };
  backEnd.loadAsioDriver = [options = std::move(options)](const std::wstring& name) -> std::unique_ptr<AudioDriver> {
    const std::vector<AsioEntry> entries = InstalledAsioDrivers();
    const auto entry =
        std::find_if(entries.begin(), entries.end(), [&](const AsioEntry& one) { return one.name == name; });
    if (entry == entries.end()) {
      return nullptr;
    }
    return AsioDriver::load(*entry, options);
  };
  return backEnd;
}

}  // namespace tarnwick::platform
