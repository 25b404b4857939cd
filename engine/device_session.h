// The one audio device: its session state, opening, notifications and closing. Everything here runs on the
// user-interface thread unless it says otherwise.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/callback_epoch.h"
#include "platform/audio/audio_driver.h"
#include "platform/session_limits.h"

namespace tarnwick::engine {

inline constexpr double kFallbackRate = 48000.0;
inline constexpr int32_t kDefaultBlockLength = 256;
inline constexpr int32_t kMostChannels = 4096;  // in one direction
// Longest wait for a block of a device that has been stopped. None of a healthy one takes nearly as long.
inline constexpr std::chrono::milliseconds kLongestBlock{3000};

// Blocks that have left the epoch and are in the driver's ASIOOutputReady, where a faulty driver may keep them: they
// touch the driver, this and the counters, nothing else. A driver that does not return from there keeps it for good.
struct Announcements {
  std::atomic<int32_t> underWay{0};  // written by the callback, read by who closes the session
  std::atomic<bool> givenUp{false};  // the other way round: the counters are another session's by now, or gone
};

// The fields above the line change only while no block can run. The callback reads them plainly.
struct DeviceSession {
  std::unique_ptr<platform::AudioDriver> currentDriver;
  std::wstring deviceName;
  int32_t numInputs = 0;
  int32_t numOutputs = 0;
  int32_t blockLength = 0;
  std::vector<platform::AudioBufferInfo> bufferInfos;    // inputs, then outputs: entry numInputs + k is output k
  std::vector<platform::AudioChannelInfo> channelInfos;  // same order
  bool outputReadySupported = false;
  bool initialised = false;
  bool buffersCreated = false;
  bool started = false;
  // ----
  std::atomic<double> sampleRate{kFallbackRate};  // written by start, stop and the driver's notification; read by all
  std::atomic<bool> acceptsBlocks{false};         // from just before ASIOStart until after ASIOStop
  CallbackEpoch epoch;
  std::unique_ptr<Announcements> announcements;  // there while blocks are accepted
};

// Device buffer of input or output channel `k` for half `half` (0 or 1), null when there is none. Real-time safe.
inline void* InputBuffer(const DeviceSession& session, int32_t k, int32_t half) noexcept {
  return session.bufferInfos[static_cast<size_t>(k)].buffers[half];
}
inline void* OutputBuffer(const DeviceSession& session, int32_t k, int32_t half) noexcept {
  return session.bufferInfos[static_cast<size_t>(session.numInputs) + static_cast<size_t>(k)].buffers[half];
}
inline int32_t InputType(const DeviceSession& session, int32_t k) noexcept {
  return session.channelInfos[static_cast<size_t>(k)].type;
}
inline int32_t OutputType(const DeviceSession& session, int32_t k) noexcept {
  return session.channelInfos[static_cast<size_t>(session.numInputs) + static_cast<size_t>(k)].type;
}

struct SessionRequest {
  std::wstring deviceName;
  int32_t blockLength = kDefaultBlockLength;  // samples; below 1 means the driver's preferred length
  double sampleRate = 0.0;                    // Hz, kHighestSampleRate at most; 1.0 or less means 48000
  void* systemReference = nullptr;
};

// The engine's part in opening a session.
struct SessionHooks {
  platform::AudioCallbacks callbacks;
  std::function<void(int32_t blockLength, double sampleRate)> prepareMeters;  // before buffers are created
  std::function<void()> resetTiming;
  std::function<void(const std::wstring&)> log;
};

// The block length a driver runs at for a request. Its granularity is not applied.
int32_t ChooseBlockLength(int32_t requested, int32_t minimum, int32_t maximum, int32_t preferred) noexcept;

// Opens and starts the device. On failure everything is undone, the session is closed, and `error` holds the text that
// was also logged.
bool OpenSession(DeviceSession& session, const platform::AudioBackEnd& backEnd, const SessionRequest& request,
                 const SessionHooks& hooks, std::wstring* error);
// Stops and closes whatever is open; harmless when nothing is. False when a block did not come back from a driver that
// has been stopped: what it may touch is kept for good, and the next session begins without it.
bool CloseSession(DeviceSession& session, std::chrono::milliseconds longestBlock = kLongestBlock);
// Waits until no block is in the driver's ASIOOutputReady; false after the limit. Any thread but the callback's.
bool AwaitAnnouncements(const DeviceSession& session, std::chrono::milliseconds limit = kLongestBlock);

// "ASE_NotPresent" and so on.
std::wstring AsioErrorName(platform::AsioError error);

}  // namespace tarnwick::engine
