#include "platform/audio_back_ends.h"

#include "platform/linux/alsa_back_end.h"
#include "platform/linux/jack_driver.h"

namespace tarnwick::platform {

std::vector<AudioBackEnd> SystemBackEnds(const BackEndHooks& hooks) {
  std::vector<AudioBackEnd> backEnds;
  backEnds.push_back(JackBackEnd(hooks));
  backEnds.push_back(AlsaBackEnd({hooks.log, hooks.deviceLost, hooks.xruns}));
  return backEnds;
}

}  // namespace tarnwick::platform
