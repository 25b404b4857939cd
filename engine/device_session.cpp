#include "engine/device_session.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

namespace tarnwick::engine {
namespace {

using namespace platform;

bool getChannels(DeviceSession& session) {
  int32_t inputs = 0;
  int32_t outputs = 0;
  if (session.currentDriver->ASIOGetChannels(inputs, outputs) != ASE_OK) {
    return false;
  }
  if (inputs < 0 || outputs < 0 || inputs > kMostChannels || outputs > kMostChannels || inputs + outputs == 0) {
    return false;
  }
  session.numInputs = inputs;
  session.numOutputs = outputs;
  return true;
}

bool getBlockLength(DeviceSession& session, int32_t requested) {
  int32_t minimum = 0;
  int32_t maximum = 0;
  int32_t preferred = 0;
  int32_t granularity = 0;
  if (session.currentDriver->ASIOGetBufferSize(minimum, maximum, preferred, granularity) != ASE_OK) {
    return false;
  }
  session.blockLength = ChooseBlockLength(requested, minimum, maximum, preferred);
  return session.blockLength >= 1 && session.blockLength <= kLargestBlockLength;
}

bool createBuffers(DeviceSession& session, const AudioCallbacks& callbacks) {
  session.bufferInfos.clear();
  for (int32_t k = 0; k < session.numInputs; ++k) {
    session.bufferInfos.push_back({true, k, {nullptr, nullptr}});
  }
  for (int32_t k = 0; k < session.numOutputs; ++k) {
    session.bufferInfos.push_back({false, k, {nullptr, nullptr}});
  }
  if (session.currentDriver->ASIOCreateBuffers(session.bufferInfos.data(),
                                               static_cast<int32_t>(session.bufferInfos.size()), session.blockLength,
                                               callbacks) != ASE_OK) {
    return false;
  }
  session.buffersCreated = true;
  return true;
}

bool getChannelInfos(DeviceSession& session) {
  session.channelInfos.assign(session.bufferInfos.size(), AudioChannelInfo{});
  for (size_t k = 0; k < session.bufferInfos.size(); ++k) {
    AudioChannelInfo& info = session.channelInfos[k];
    info.channel = session.bufferInfos[k].channelNum;
    info.isInput = session.bufferInfos[k].isInput;
    if (!session.currentDriver) {
      info.channel = -1;
      std::strncpy(info.name, "None", sizeof info.name - 1);
      continue;
    }
    if (session.currentDriver->ASIOGetChannelInfo(info) != ASE_OK) {
      return false;
    }
    info.name[sizeof info.name - 1] = '\0';
  }
  return true;
}

// For a driver whose call may return after all. Never freed.
struct KeptForever {
  std::unique_ptr<AudioDriver> driver;
  std::vector<AudioBufferInfo> bufferInfos;
  std::vector<AudioChannelInfo> channelInfos;
  std::unique_ptr<Announcements> announcements;
};

void keepForever(DeviceSession& session) {
  static std::vector<KeptForever>& kept = *new std::vector<KeptForever>;
  if (session.announcements) {
    session.announcements->givenUp.store(true, std::memory_order_seq_cst);
  }
  kept.push_back({std::move(session.currentDriver), std::move(session.bufferInfos), std::move(session.channelInfos),
                  std::move(session.announcements)});
}

// The steps of a start, in their order. False, or an exception, leaves the text in `failure`.
bool openSteps(DeviceSession& session, const AudioBackEnd& backEnd, const SessionRequest& request,
               const SessionHooks& hooks, std::wstring& failure) {
  if (request.deviceName.empty()) {
    failure = L"Select an ASIO device.";
    return false;
  }
  const double rate = request.sampleRate > 1.0 ? request.sampleRate : kFallbackRate;
  if (rate > kHighestSampleRate) {
    failure = L"The sample rate is too high: " + std::to_wstring(std::llround(kHighestSampleRate)) +
              L" Hz is the highest. Choose a lower one.";
    return false;
  }
  failure = L"ASIO loadDriver failed for: " + request.deviceName;
  session.currentDriver = backEnd.loadAsioDriver(request.deviceName);
  if (!session.currentDriver) {
    return false;
  }
  session.deviceName = request.deviceName;
  AudioInitRequest init;
  init.systemReference = request.systemReference;
  init.sampleRate = rate;
  failure = L"ASIOInit failed: " + AsioErrorName(ASE_HWMalfunction);
  const AsioError initResult = session.currentDriver->ASIOInit(init);
  if (initResult != ASE_OK) {
    failure = L"ASIOInit failed: " + AsioErrorName(initResult);
    return false;
  }
  session.initialised = true;
  failure = L"ASIOGetChannels failed.";
  if (!getChannels(session)) {
    return false;
  }
  failure = L"ASIOGetBufferSize failed.";
  if (!getBlockLength(session, request.blockLength)) {
    return false;
  }
  failure = L"ASIOCreateBuffers failed.";
  session.sampleRate.store(rate);
  session.outputReadySupported = session.currentDriver->ASIOOutputReady() == ASE_OK;
  hooks.prepareMeters(session.blockLength, rate);
  if (!createBuffers(session, hooks.callbacks)) {
    return false;
  }
  failure = L"ASIOGetChannelInfo failed.";
  if (!getChannelInfos(session)) {
    return false;
  }
  failure = L"ASIOStart failed.";
  hooks.resetTiming();
  session.announcements = std::make_unique<Announcements>();
  // A driver may deliver its first block before its start call has returned.
  session.acceptsBlocks.store(true, std::memory_order_seq_cst);
  if (session.currentDriver->ASIOStart() != ASE_OK) {
    return false;
  }
  session.started = true;
  return true;
}

}  // namespace

int32_t ChooseBlockLength(int32_t requested, int32_t minimum, int32_t maximum, int32_t preferred) noexcept {
  const int32_t wanted = requested >= 1 ? requested : preferred;
  return std::min(std::max(wanted, minimum), maximum);
}

bool OpenSession(DeviceSession& session, const AudioBackEnd& backEnd, const SessionRequest& request,
                 const SessionHooks& hooks, std::wstring* error) {
  CloseSession(session);
  std::wstring failure;
  try {
    if (openSteps(session, backEnd, request, hooks, failure)) {
      hooks.log(L"ASIO started: " + request.deviceName + L" (buffer=" + std::to_wstring(session.blockLength) + L")");
      return true;
    }
  } catch (const std::exception&) {
    // Memory for absurd sizes, or a back end that throws: the step under way has failed.
  }
  CloseSession(session);
  hooks.log(failure);
  if (error) {
    *error = failure;
  }
  return false;
}

bool AwaitAnnouncements(const DeviceSession& session, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (session.announcements && session.announcements->underWay.load(std::memory_order_seq_cst) > 0) {
    if (std::chrono::steady_clock::now() >= end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

bool CloseSession(DeviceSession& session, std::chrono::milliseconds longestBlock) {
  bool cameBack = true;
  if (session.currentDriver) {
    if (session.started) {
      session.currentDriver->ASIOStop();
    }
    // Some drivers call once more after their stop call: such a block is turned away, one under way is waited for.
    session.acceptsBlocks.store(false, std::memory_order_seq_cst);
    if (!AwaitCallbackIdle(session.epoch, longestBlock)) {
      // Its thread was ended inside the block: nothing in there waits, and the host's effects are gone by now.
      session.epoch.abandon();
      cameBack = false;
    }
    cameBack = AwaitAnnouncements(session, longestBlock) && cameBack;
    if (session.buffersCreated) {
      session.currentDriver->ASIODisposeBuffers();
    }
    if (session.initialised) {
      session.currentDriver->ASIOExit();
    }
    if (!cameBack) {
      keepForever(session);
    }
  }
  session.started = false;
  session.buffersCreated = false;
  session.initialised = false;
  session.currentDriver.reset();
  session.announcements.reset();
  session.deviceName.clear();
  session.sampleRate.store(kFallbackRate);
  session.numInputs = 0;
  session.numOutputs = 0;
  session.blockLength = 0;
  session.outputReadySupported = false;
  session.bufferInfos.clear();
  session.channelInfos.clear();
  return cameBack;
}

std::wstring AsioErrorName(AsioError error) {
  switch (error) {
    case ASE_NotPresent:
      return L"ASE_NotPresent";
    case ASE_HWMalfunction:
      return L"ASE_HWMalfunction";
    case ASE_InvalidParameter:
      return L"ASE_InvalidParameter";
    case ASE_InvalidMode:
      return L"ASE_InvalidMode";
    case ASE_SPNotAdvancing:
      return L"ASE_SPNotAdvancing";
    case ASE_NoClock:
      return L"ASE_NoClock";
    case ASE_NoMemory:
      return L"ASE_NoMemory";
    default:
      return L"ASE_Unknown";
  }
}

}  // namespace tarnwick::engine
