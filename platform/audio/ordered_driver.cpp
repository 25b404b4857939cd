#include "platform/audio/ordered_driver.h"

#include <new>
#include <system_error>
#include <utility>

namespace tarnwick::platform {
namespace {

template <class Call>
AsioError guarded(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return ASE_NoMemory;
  } catch (const std::system_error&) {
    return ASE_NoMemory;
  }
}

}  // namespace

AsioError OrderedDriver::ASIOInit(const AudioInitRequest& request) {
  if (initialised_) {
    return ASE_InvalidMode;
  }
  const AsioError result = guarded([&] { return init(request); });
  initialised_ = result == ASE_OK;
  if (!initialised_) {
    exit();
  }
  return result;
}

AsioError OrderedDriver::ASIOExit() {
  if (!initialised_) {
    return ASE_NotPresent;
  }
  const AsioError result = created_ ? ASIODisposeBuffers() : ASE_OK;
  initialised_ = false;
  exit();
  return result;
}

AsioError OrderedDriver::ASIOGetChannels(int32_t& inputs, int32_t& outputs) {
  const AsioError result = ready();
  return result != ASE_OK ? result : guarded([&] { return getChannels(inputs, outputs); });
}

AsioError OrderedDriver::ASIOGetBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred,
                                           int32_t& granularity) {
  const AsioError result = ready();
  return result != ASE_OK ? result : guarded([&] { return getBufferSize(minimum, maximum, preferred, granularity); });
}

AsioError OrderedDriver::ASIOGetLatencies(int32_t& input, int32_t& output) {
  const AsioError result = ready();
  return result != ASE_OK ? result : guarded([&] { return getLatencies(input, output); });
}

AsioError OrderedDriver::judge(const AudioBufferInfo* infos, int32_t count, int32_t blockLength) {
  int32_t channels[2] = {};
  int32_t minimum = 0;
  int32_t maximum = 0;
  int32_t ignored = 0;
  const AsioError result = getChannels(channels[1], channels[0]);
  if (result != ASE_OK) {
    return result;
  }
  if (getBufferSize(minimum, maximum, ignored, ignored) != ASE_OK || blockLength < minimum || blockLength > maximum) {
    return ASE_InvalidParameter;
  }
  for (const size_t direction : {0, 1}) {
    active_[direction].assign(static_cast<size_t>(channels[direction]), false);
  }
  for (int32_t k = 0; k < count; ++k) {
    std::vector<bool>& active = active_[infos[k].isInput ? 1 : 0];
    const auto channel = static_cast<size_t>(infos[k].channelNum);  // a negative one is beyond all
    if (channel >= active.size() || active[channel]) {
      return ASE_InvalidParameter;
    }
    active[channel] = true;
  }
  return ASE_OK;
}

AsioError OrderedDriver::ASIOCreateBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                           const AudioCallbacks& callbacks) {
  AsioError result = ready();
  if (result != ASE_OK) {
    return result;
  }
  if (created_) {
    return ASE_InvalidMode;
  }
  if (infos == nullptr || count < 1 || callbacks.bufferSwitch == nullptr) {
    return ASE_InvalidParameter;
  }
  result = guarded([&] {
    const AsioError judged = judgesHere() ? judge(infos, count, blockLength) : ASE_OK;
    return judged != ASE_OK ? judged : createBuffers(infos, count, blockLength, callbacks);
  });
  created_ = result == ASE_OK;
  return result;
}

AsioError OrderedDriver::ASIOGetChannelInfo(AudioChannelInfo& info) {
  const AsioError result = ready();
  if (result != ASE_OK) {
    return result;
  }
  return guarded([&] {
    if (judgesHere()) {
      int32_t channels[2] = {};
      const AsioError known = getChannels(channels[1], channels[0]);
      if (known != ASE_OK || info.channel < 0 || info.channel >= channels[info.isInput ? 1 : 0]) {
        return known != ASE_OK ? known : ASE_InvalidParameter;
      }
      info.isActive = created_ && active_[info.isInput ? 1 : 0][static_cast<size_t>(info.channel)];
      info.channelGroup = 0;
    }
    return getChannelInfo(info);
  });
}

AsioError OrderedDriver::ASIOStart() {
  AsioError result = ready();
  if (result != ASE_OK) {
    return result;
  }
  if (!created_ || started_) {
    return ASE_InvalidMode;
  }
  result = guarded([&] { return start(); });
  started_ = result == ASE_OK;
  return result;
}

AsioError OrderedDriver::ASIOStop() {
  if (!initialised_) {
    return ASE_NotPresent;
  }
  return std::exchange(started_, false) ? guarded([&] { return stop(); }) : ASE_OK;
}

AsioError OrderedDriver::ASIODisposeBuffers() {
  if (!initialised_) {
    return ASE_NotPresent;
  }
  if (!created_) {
    return ASE_InvalidMode;
  }
  ASIOStop();
  created_ = false;
  return guarded([&] { return disposeBuffers(); });
}

AsioError OrderedDriver::ASIOControlPanel() {
  const AsioError result = ready();
  return result != ASE_OK ? result : guarded([&] { return controlPanel(); });
}

}  // namespace tarnwick::platform
