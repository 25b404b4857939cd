// The virtual audio device: a clock thread in place of hardware. It offers the operations of every other driver, so
// the session cannot tell it from a real one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/audio/audio_driver.h"

namespace tarnwick::sound {

inline constexpr wchar_t kVirtualDriverName[] = L"Tarnwick Virtual Audio";

// Block lengths that the device runs at, in samples.
inline constexpr int32_t kShortestVirtualBlock = 16;
inline constexpr int32_t kLongestVirtualBlock = 8192;
inline constexpr int32_t kPreferredVirtualBlock = 256;

enum class VirtualClock {
  real,  // a block every block length / sample rate seconds
  fast,  // the next block as soon as the last has returned
};

struct VirtualOptions {
  int32_t inputs = 8;  // 1 to 1024
  int32_t outputs = 8;
  VirtualClock clock = VirtualClock::real;
  // Holds the first block back until VirtualDevice::release, so that a run can begin with a prepared host.
  bool held = false;
  // Blocks of one ASIOStart, after which the clock idles until ASIOStop; negative = none.
  int64_t blockLimit = -1;
  // WAV for the inputs in place of the built-in sources: input k hears channel k mod channels, looped. It is played
  // sample by sample whatever its rate.
  std::wstring sourceFile;
  // 32-bit float WAV of all outputs, one channel each; RF64 where it grows beyond 4 GiB. Complete whenever
  // ASIODisposeBuffers has returned, and brought up to date about once a second. A further ASIOStart adds to it, but at
  // another sample rate it captures nothing and says so (captureError).
  std::wstring captureFile;
};

// The device behind the driver: what a program or a test can ask of it beside the driver's operations.
//
// The driver may be loaded more than once; the one that has created buffers has the device until it disposes them, and
// the others' ASIOCreateBuffers is ASE_InvalidMode. ASIOInit is ASE_NotPresent when `prepare` has not succeeded.
// Samples are kFloat32LSB, a block is the latency in either direction.
class VirtualDevice {
 public:
  explicit VirtualDevice(VirtualOptions options);
  VirtualDevice(const VirtualDevice&) = delete;
  VirtualDevice& operator=(const VirtualDevice&) = delete;
  ~VirtualDevice();

  // Checks the options, loads the source file and finds out whether the capture file can be written (what it holds goes
  // with the first block); false with the reason in words.
  // User-interface thread, once, before the driver is loaded.
  bool prepare(std::wstring* error);
  // The back end that lists this one device. A driver that outlives the device finds it gone: ASE_NotPresent for
  // everything but the end of its session.
  platform::AudioBackEnd backEnd();
  // Lets a held clock run, now and after every later ASIOStart. Any thread.
  void release();

  // Blocks delivered since ASIOStart. Any thread.
  int64_t blocks() const;
  // True once blockLimit blocks have been delivered since ASIOStart. Any thread.
  bool limitReached() const;
  // Lateness of each block of the real clock in ticks of the counter, newest last, at most the last 65536; for
  // benchmarks. After ASIOStop.
  std::vector<int64_t> lateness() const;
  // Frames that did not reach the capture file because its writer could not keep up, or the disk failed. Any thread.
  uint64_t captureFramesLost() const;
  // Why the capture file refused frames, the latest reason in words; empty when it never did. Any thread.
  std::wstring captureError() const;
  // Sample rate that the source file states, in Hz; 0 without one. After prepare, any thread.
  double sourceRate() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tarnwick::sound
