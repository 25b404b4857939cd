#include <algorithm>
#include <utility>

#include "platform/audio/audio_driver.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

std::wstring cut(const std::wstring& name, size_t length) {
  // Not through the middle of a character of two units.
  const bool split = name.size() > length && (static_cast<uint32_t>(name[length - 1]) & 0xFC00U) == 0xD800U;
  return Trimmed(name.substr(0, length - (split ? 1 : 0)));
}

}  // namespace

std::wstring DistinctDriverName(const std::wstring& name, const std::vector<std::wstring>& taken) {
  const auto isTaken = [&taken](const std::wstring& candidate) {
    return std::any_of(taken.begin(), taken.end(),
                       [&candidate](const std::wstring& other) { return EqualIgnoringCase(other, candidate); });
  };
  std::wstring distinct = cut(name, kMaximumDriverName);
  for (int number = 2; isTaken(distinct); ++number) {
    const std::wstring suffix = L" (" + std::to_wstring(number) + L")";
    distinct = cut(name, kMaximumDriverName - suffix.size()) + suffix;
  }
  return distinct;
}

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
