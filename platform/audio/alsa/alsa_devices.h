// Which sound cards there are. Asks their control interfaces only, so a card that is in use is neither opened nor
// disturbed.
#pragma once

#include <string>
#include <vector>

#include "platform/audio/alsa/alsa_back_end.h"

namespace tarnwick::platform {

// One PCM device of a card.
struct AlsaCardDevice {
  std::wstring card;
  std::wstring device;
  std::string pcm;  // for both directions
  bool captures = false;
  bool plays = false;
  bool usb = false;
};

std::vector<AlsaCardDevice> AlsaCardDevices();

// The devices under the names of their cards. A card that has several appends the name of each. Names are cut to
// kMaximumDriverName, and numbered where that leaves two alike or `taken` has them already.
std::vector<AlsaDevice> NameAlsaDevices(const std::vector<AlsaCardDevice>& found, const std::vector<AlsaDevice>& taken);

}  // namespace tarnwick::platform
