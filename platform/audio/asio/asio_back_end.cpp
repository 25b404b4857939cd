#include "platform/audio/asio/asio_back_end.h"

#include <algorithm>
#include <utility>

#include "platform/audio/asio/asio_driver.h"
#include "platform/audio/asio/asio_registry.h"

namespace tarnwick::platform {
namespace {

// An operation of the record: holds the driver while it runs, because a wait may let in what gives the record up.
template <class Result, class... Arguments>
std::function<Result(Arguments...)> operation(const std::shared_ptr<AsioDriver>& driver,
                                              Result (AsioDriver::*method)(Arguments...)) {
  return [driver, method](Arguments... arguments) {
    const auto held = driver;
    return (held.get()->*method)(std::forward<Arguments>(arguments)...);
  };
}

std::unique_ptr<AudioDriver> recordOf(const std::shared_ptr<AsioDriver>& driver) {
  auto record = std::make_unique<AudioDriver>();
  record->ASIOInit = operation(driver, &AsioDriver::init);
  record->ASIOExit = operation(driver, &AsioDriver::exit);
  record->ASIOGetChannels = operation(driver, &AsioDriver::getChannels);
  record->ASIOGetBufferSize = operation(driver, &AsioDriver::getBufferSize);
  record->ASIOGetLatencies = operation(driver, &AsioDriver::getLatencies);
  record->ASIOCreateBuffers = operation(driver, &AsioDriver::createBuffers);
  record->ASIOGetChannelInfo = operation(driver, &AsioDriver::getChannelInfo);
  // Called in every block: without the others' holding.
  record->ASIOOutputReady = [driver] { return driver->outputReady(); };
  record->ASIOStart = operation(driver, &AsioDriver::start);
  record->ASIOStop = operation(driver, &AsioDriver::stop);
  record->ASIODisposeBuffers = operation(driver, &AsioDriver::disposeBuffers);
  record->ASIOControlPanel = operation(driver, &AsioDriver::controlPanel);
  record->keepAlive = std::shared_ptr<void>(nullptr, [driver](void*) { driver->unload(); });
  return record;
}

}  // namespace

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
    const auto driver = AsioDriver::load(*entry, options);
    return driver ? recordOf(driver) : nullptr;
  };
  return backEnd;
}

}  // namespace tarnwick::platform
