#include "platform/audio/audio_back_ends.h"

#include "platform/audio/alsa/alsa_back_end.h"
#include "platform/audio/jack/jack_driver.h"

namespace tarnwick::platform {

std::vector<AudioBackEnd> SystemBackEnds(const BackEndHooks& hooks) {
  std::vector<AudioBackEnd> backEnds;
  backEnds.push_back(JackBackEnd(hooks));
  backEnds.push_back(AlsaBackEnd(hooks));
  return backEnds;
}

}  // namespace tarnwick::platform
