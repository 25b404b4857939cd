// The virtual audio device: a clock thread in place of hardware. It offers the operations of every other driver, so
// the session cannot tell it from a real one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/audio_driver.h"

namespace tarnwick::platform {

inline constexpr wchar_t kVirtualDriverName[] = L"Tarnwick Virtual Audio";

enum class VirtualClock {
  real,  // a block every block length / sample rate seconds
  fast,  // the next block as soon as the last has returned
};

enum class VirtualSource { tone, pinkNoise, pluckedNotes, silence };

// Faults on request, for tests.
struct VirtualFaults {
  AsioError initResult = ASE_OK;
  AsioError startResult = ASE_OK;
  bool createBuffersFails = false;
  int64_t lateBlock = -1;  // this block (from 0) comes lateMilliseconds late
  int32_t lateMilliseconds = 0;
  int64_t rateChangeBlock = -1;  // before this block the driver reports newRate
  double newRate = 0.0;
};

struct VirtualOptions {
  int32_t inputs = 8;
  int32_t outputs = 8;
  int32_t sampleType = kFloat32LSB;
  int32_t minimumBlock = 16;
  int32_t maximumBlock = 8192;
  int32_t preferredBlock = 256;
  int32_t granularity = 1;
  int32_t inputLatency = 0;  // samples; 0 = one block
  int32_t outputLatency = 0;
  bool outputReady = true;  // whether ASIOOutputReady is supported
  VirtualClock clock = VirtualClock::real;
  // Holds the first block back until VirtualDevice::release, so that a run can begin with a prepared host.
  bool held = false;
  // Blocks after which the clock stops for good; negative = none.
  int64_t blockLimit = -1;
  // Built-in sources: input k plays sources[k mod size]; empty = a default mix.
  std::vector<VirtualSource> sources;
  std::wstring sourceFile;   // WAV for the inputs in place of the built-in sources
  std::wstring captureFile;  // 32-bit float WAV of all outputs
  VirtualFaults faults;
};

// The device behind the driver: what a program or a test can ask of it beside the driver's operations.
class VirtualDevice {
 public:
  explicit VirtualDevice(VirtualOptions options);
  VirtualDevice(const VirtualDevice&) = delete;
  VirtualDevice& operator=(const VirtualDevice&) = delete;
  ~VirtualDevice();

  // Checks the options and opens source and capture files; false with the reason in words. User-interface thread, once,
  // before the driver is loaded.
  bool prepare(std::wstring* error);
  // The back end that lists this one device. The device outlives it.
  AudioBackEnd backEnd();
  // Lets a held clock run. Any thread.
  void release();

  // Blocks delivered since ASIOStart. Any thread.
  int64_t blocks() const;
  // True once blockLimit blocks have been delivered. Any thread.
  bool limitReached() const;
  // Lateness of each block of the real clock in ticks of the counter, newest last, at most the last 65536; for
  // benchmarks. After ASIOStop.
  std::vector<int64_t> lateness() const;
  // Frames that did not reach the capture file because its writer could not keep up, or the disk failed. Any thread.
  uint64_t captureFramesLost() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tarnwick::platform
