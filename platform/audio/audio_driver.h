// The device session's view of an audio back end: a driver's operations in ASIO's terms and with ASIO's names,
// because every back end is driven in the same order.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarnwick::platform {

// Result codes of the operations: ASE_OK is success. ASIO's own numbers.
using AsioError = int32_t;
inline constexpr AsioError ASE_OK = 0;
inline constexpr AsioError ASE_NotPresent = -1000;
inline constexpr AsioError ASE_HWMalfunction = -999;
inline constexpr AsioError ASE_InvalidParameter = -998;
inline constexpr AsioError ASE_InvalidMode = -997;
inline constexpr AsioError ASE_SPNotAdvancing = -996;
inline constexpr AsioError ASE_NoClock = -995;
inline constexpr AsioError ASE_NoMemory = -994;

// Sample types of device buffers, numbered as ASIO numbers them. Every number that is not listed is carried as a
// 32-bit integer in the machine's byte order.
inline constexpr int32_t kInt16MSB = 0;
inline constexpr int32_t kInt24MSB = 1;
inline constexpr int32_t kInt16LSB = 16;
inline constexpr int32_t kInt24LSB = 17;
inline constexpr int32_t kInt32LSB = 18;
inline constexpr int32_t kFloat32LSB = 19;
inline constexpr int32_t kFloat64LSB = 20;

// Bytes that one sample of a type takes in a device buffer.
constexpr int32_t BytesPerSample(int32_t type) {
  switch (type) {
    case kInt16MSB:
    case kInt16LSB:
      return 2;
    case kInt24MSB:
    case kInt24LSB:
      return 3;
    case kFloat64LSB:
      return 8;
    default:
      return 4;
  }
}

// Selectors of the asioMessage notification that the host answers.
inline constexpr int32_t kAsioSelectorSupported = 1;
inline constexpr int32_t kAsioEngineVersion = 2;
inline constexpr int32_t kAsioResetRequest = 3;
inline constexpr int32_t kAsioResyncRequest = 5;
inline constexpr int32_t kAsioLatenciesChanged = 6;
inline constexpr int32_t kAsioOverload = 15;  // the host answers 0; the ASIO back end counts it

// One channel's pair of device buffers, each of block length x BytesPerSample(type) bytes. The driver fills `buffers`
// in ASIOCreateBuffers. An output's stay the same until ASIODisposeBuffers, and the half of the block before stays as
// the host has left it. An input's may be others in every block: before it calls bufferSwitch a driver may set
// buffers[half] of its inputs anew, on that thread. So the host looks at inputs within the block only, and does not
// write to them.
struct AudioBufferInfo {
  bool isInput = false;
  int32_t channelNum = 0;
  void* buffers[2] = {nullptr, nullptr};
};

struct AudioChannelInfo {
  int32_t channel = 0;
  bool isInput = false;
  bool isActive = false;
  int32_t channelGroup = 0;
  int32_t type = kInt32LSB;
  char name[32] = {};  // UTF-8, zero-terminated
};

// The host's functions for a driver, called from any thread of the driver's. `context` is handed back as given. The
// callbacks stay valid until ASIODisposeBuffers has returned; none of them waits, allocates or throws.
struct AudioCallbacks {
  void* context = nullptr;
  // Half `index` (0 or 1) of every buffer is the host's until the call returns. True: the host has written all outputs
  // of that half. False: it has let the block pass and written none; the driver, where it can know, plays silence.
  bool (*bufferSwitch)(void* context, int32_t index, bool directProcess) = nullptr;
  void (*sampleRateDidChange)(void* context, double rate) = nullptr;
  int32_t (*asioMessage)(void* context, int32_t selector, int32_t value) = nullptr;
  // As bufferSwitch, for drivers that send time information. The host uses none of it; the result is null.
  void* (*bufferSwitchTimeInfo)(void* context, void* timeInfo, int32_t index, bool directProcess) = nullptr;
};

// Arguments of ASIOInit.
struct AudioInitRequest {
  int32_t driverVersion = 2;
  void* systemReference = nullptr;  // the main window where there is one
  // The rate that the session will run at. Back ends whose device has to be told use it; ASIO does not: a driver's own
  // rate is neither asked for nor set.
  double sampleRate = 48000.0;
};

// One loaded driver. Every operation is called on the user-interface thread, but for ASIOOutputReady: before
// buffers are created it is a question asked on that thread, from then on the callback calls it and it must be safe
// there. Results that are not ASE_OK leave the arguments undefined. Destroying the driver ends what runs and unloads
// it.
//
// The order of the operations: ASIOInit, ASIOCreateBuffers, ASIOStart, ASIOStop, ASIODisposeBuffers, ASIOExit. Out of
// that order they are answered as platform/audio/ordered_driver.h says.
class AudioDriver {
 public:
  AudioDriver() = default;
  AudioDriver(const AudioDriver&) = delete;
  AudioDriver& operator=(const AudioDriver&) = delete;
  virtual ~AudioDriver() = default;

  virtual AsioError ASIOInit(const AudioInitRequest& request) = 0;
  virtual AsioError ASIOExit() = 0;
  virtual AsioError ASIOGetChannels(int32_t& inputs, int32_t& outputs) = 0;
  // Block lengths in samples.
  virtual AsioError ASIOGetBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) = 0;
  // Latencies in samples.
  virtual AsioError ASIOGetLatencies(int32_t& input, int32_t& output) = 0;
  // `infos` stays where it is until ASIODisposeBuffers has returned.
  virtual AsioError ASIOCreateBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                      const AudioCallbacks& callbacks) = 0;
  // `channel` and `isInput` are set by the caller, the rest is filled in.
  virtual AsioError ASIOGetChannelInfo(AudioChannelInfo& info) = 0;
  virtual AsioError ASIOOutputReady() noexcept = 0;
  virtual AsioError ASIOStart() = 0;
  // No callback runs or begins once this has returned.
  virtual AsioError ASIOStop() = 0;
  virtual AsioError ASIODisposeBuffers() = 0;
  virtual AsioError ASIOControlPanel() = 0;
};

inline constexpr size_t kMaximumDrivers = 64;
inline constexpr size_t kMaximumDriverName = 32;

// One or more kinds of driver. Called on the user-interface thread.
struct AudioBackEnd {
  // Names of the installed drivers: at most kMaximumDrivers, each at most kMaximumDriverName characters.
  std::function<std::vector<std::wstring>()> asioGetDriverNames;
  // The driver of that name, or null.
  std::function<std::unique_ptr<AudioDriver>(const std::wstring& name)> loadAsioDriver;
  // Those of the names that the program brings itself: no device of the machine answers behind them.
  std::vector<std::wstring> ownDevices;
};

// `name` cut to kMaximumDriverName, in whole characters; where `taken` has it (compared without regard to case), with
// the first number behind it that makes it another: "Name (2)".
std::wstring DistinctDriverName(const std::wstring& name, const std::vector<std::wstring>& taken);

// The drivers of several back ends as one list, in the order given; the first that loads a name has it.
AudioBackEnd CombineBackEnds(std::vector<AudioBackEnd> backEnds);

}  // namespace tarnwick::platform
