#include "platform/audio/audio_back_ends.h"

#include "platform/audio/asio/asio_back_end.h"

namespace tarnwick::platform {

std::vector<AudioBackEnd> SystemBackEnds(const BackEndHooks& hooks) {
  AsioOptions options;
  options.log = hooks.log;
  options.onWait = hooks.waiting;
  options.xruns = hooks.xruns;
  return {AsioBackEnd(options)};
}

}  // namespace tarnwick::platform
