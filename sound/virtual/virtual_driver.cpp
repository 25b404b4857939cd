#include "sound/virtual/virtual_driver.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "sound/virtual/virtual_session.h"
#include "sound/wav_format.h"

namespace tarnwick::sound {
namespace {

constexpr int32_t kMaximumChannels = 1024;
constexpr int32_t kLongestBlock = 65536;

// The reason why the options make no device; empty when they do.
std::wstring optionFault(const VirtualOptions& options) {
  const auto channels = [](const wchar_t* what) {
    return L"the number of " + std::wstring(what) + L" must be 1 to " + std::to_wstring(kMaximumChannels) + L".";
  };
  if (options.inputs < 1 || options.inputs > kMaximumChannels) {
    return channels(L"inputs");
  }
  if (options.outputs < 1 || options.outputs > kMaximumChannels) {
    return channels(L"outputs");
  }
  if (options.minimumBlock < 1 || options.maximumBlock > kLongestBlock || options.minimumBlock > options.maximumBlock) {
    return L"the block lengths must be 1 to " + std::to_wstring(kLongestBlock) + L", the smallest first.";
  }
  if (options.preferredBlock < options.minimumBlock || options.preferredBlock > options.maximumBlock) {
    return L"the preferred block length must be " + std::to_wstring(options.minimumBlock) + L" to " +
           std::to_wstring(options.maximumBlock) + L".";
  }
  if (options.inputLatency < 0 || options.outputLatency < 0) {
    return L"a latency must not be negative.";
  }
  return L"";
}

bool sameFile(const std::wstring& a, const std::wstring& b) {
  std::error_code failure;
  return std::filesystem::equivalent(wav::PathFromWide(a), wav::PathFromWide(b), failure);
}

}  // namespace

// Owned by the device and by every driver that it has handed out.
struct VirtualDevice::State {
  explicit State(VirtualOptions given) : options(std::move(given)), clock(options) {}

  const VirtualOptions options;
  bool present = false;  // prepared, and the device still there
  WavSamples source;
  CaptureReport report;
  std::unique_ptr<WavWriter> captureFile;  // null = none
  ClockThread clock;
  std::unique_ptr<VirtualSession> session;  // while a driver has buffers
  const void* owner = nullptr;              // that driver; compared only

  class Driver;
};

// One loaded driver: the operations in the order that a host calls them.
class VirtualDevice::State::Driver {
 public:
  explicit Driver(std::shared_ptr<State> state) : state_(std::move(state)), options_(state_->options) {}
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver() { exit(); }

  platform::AsioError init(const platform::AudioInitRequest& request) {
    if (options_.faults.initResult != platform::ASE_OK) {
      return options_.faults.initResult;
    }
    if (!state_->present) {
      return platform::ASE_NotPresent;
    }
    if (hasSession()) {
      return platform::ASE_InvalidMode;
    }
    if (!(request.sampleRate >= kLowestVirtualRate && request.sampleRate <= kHighestVirtualRate)) {
      return platform::ASE_NoClock;
    }
    sampleRate_ = request.sampleRate;
    initialised_ = true;
    return platform::ASE_OK;
  }

  platform::AsioError exit() {
    if (!std::exchange(initialised_, false)) {
      return platform::ASE_NotPresent;
    }
    endSession();
    return platform::ASE_OK;
  }

  platform::AsioError getChannels(int32_t& inputs, int32_t& outputs) const {
    inputs = options_.inputs;
    outputs = options_.outputs;
    return online() ? platform::ASE_OK : platform::ASE_NotPresent;
  }

  platform::AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred,
                                    int32_t& granularity) const {
    minimum = options_.minimumBlock;
    maximum = options_.maximumBlock;
    preferred = options_.preferredBlock;
    granularity = options_.granularity;
    return online() ? platform::ASE_OK : platform::ASE_NotPresent;
  }

  platform::AsioError getLatencies(int32_t& input, int32_t& output) const {
    const int32_t block = hasSession() ? state_->session->blockLength() : options_.preferredBlock;
    input = options_.inputLatency > 0 ? options_.inputLatency : block;
    output = options_.outputLatency > 0 ? options_.outputLatency : block;
    return online() ? platform::ASE_OK : platform::ASE_NotPresent;
  }

  platform::AsioError createBuffers(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                    const platform::AudioCallbacks& callbacks) {
    if (!online()) {
      return platform::ASE_NotPresent;
    }
    if (state_->session) {
      return platform::ASE_InvalidMode;
    }
    if (options_.faults.createBuffersFails) {
      return platform::ASE_NoMemory;
    }
    auto created =
        std::make_unique<VirtualSession>(options_, state_->clock, state_->source.frames > 0 ? &state_->source : nullptr,
                                         state_->captureFile.get(), state_->report);
    const platform::AsioError result = created->create(infos, count, blockLength, sampleRate_, callbacks);
    if (result == platform::ASE_OK) {
      state_->session = std::move(created);
      state_->owner = this;
    }
    return result;
  }

  platform::AsioError getChannelInfo(platform::AudioChannelInfo& info) const {
    if (!online()) {
      return platform::ASE_NotPresent;
    }
    if (info.channel < 0 || info.channel >= (info.isInput ? options_.inputs : options_.outputs)) {
      return platform::ASE_InvalidParameter;
    }
    info.isActive = hasSession() && state_->session->hasChannel(info.isInput, info.channel);
    info.channelGroup = 0;
    info.type = options_.sampleType;
    std::snprintf(info.name, sizeof(info.name), "Virtual %s %d", info.isInput ? "In" : "Out", info.channel + 1);
    return platform::ASE_OK;
  }

  platform::AsioError outputReady() const { return options_.outputReady ? platform::ASE_OK : platform::ASE_NotPresent; }

  platform::AsioError start() {
    if (!online()) {
      return platform::ASE_NotPresent;
    }
    if (!hasSession() || state_->clock.running()) {
      return platform::ASE_InvalidMode;
    }
    return options_.faults.startResult != platform::ASE_OK ? options_.faults.startResult : state_->session->start();
  }

  platform::AsioError stop() {
    if (hasSession()) {
      state_->session->stop();
    }
    return online() ? platform::ASE_OK : platform::ASE_NotPresent;
  }

  platform::AsioError disposeBuffers() {
    if (!online()) {
      return platform::ASE_NotPresent;
    }
    return endSession() ? platform::ASE_OK : platform::ASE_InvalidMode;
  }

 private:
  bool online() const { return initialised_ && state_->present; }
  bool hasSession() const { return state_->session && state_->owner == this; }
  bool endSession() {
    const bool had = hasSession();
    if (had) {
      state_->session.reset();
      state_->owner = nullptr;
    }
    return had;
  }

  const std::shared_ptr<State> state_;
  const VirtualOptions& options_;
  bool initialised_ = false;
  double sampleRate_ = 0.0;
};

VirtualDevice::VirtualDevice(VirtualOptions options) : state_(std::make_shared<State>(std::move(options))) {}

VirtualDevice::~VirtualDevice() {
  state_->present = false;
  state_->session.reset();
  state_->owner = nullptr;
  state_->captureFile.reset();
}

bool VirtualDevice::prepare(std::wstring* error) {
  const VirtualOptions& options = state_->options;
  std::wstring words = optionFault(options);
  if (words.empty() && !options.sourceFile.empty() && !ReadWav(options.sourceFile, state_->source, &words)) {
    words = L"the source file " + words;
  }
  if (words.empty() && !options.captureFile.empty()) {
    auto file = std::make_unique<WavWriter>();
    if (!options.sourceFile.empty() && sameFile(options.sourceFile, options.captureFile)) {
      words = L"the source file \"" + options.sourceFile + L"\" cannot be the capture file as well.";
    } else if (file->open(options.captureFile, options.outputs, &words)) {
      state_->captureFile = std::move(file);
    } else {
      words = L"the capture file " + words;
    }
  }
  if (!words.empty() && error) {
    *error = L"Virtual device: " + words;
  }
  state_->present = words.empty();
  return words.empty();
}

platform::AudioBackEnd VirtualDevice::backEnd() {
  platform::AudioBackEnd result;
  result.asioGetDriverNames = [] { return std::vector<std::wstring>{kVirtualDriverName}; };
  result.ownDevices = {kVirtualDriverName};
  result.loadAsioDriver = [state = state_](const std::wstring& name) -> std::unique_ptr<platform::AudioDriver> {
    if (name != kVirtualDriverName) {
      return nullptr;
    }
    const auto driver = std::make_shared<State::Driver>(state);
    auto record = std::make_unique<platform::AudioDriver>();
    record->ASIOInit = [driver](const platform::AudioInitRequest& request) { return driver->init(request); };
    record->ASIOExit = [driver] { return driver->exit(); };
    record->ASIOGetChannels = [driver](int32_t& inputs, int32_t& outputs) {
      return driver->getChannels(inputs, outputs);
    };
    record->ASIOGetBufferSize = [driver](int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) {
      return driver->getBufferSize(minimum, maximum, preferred, granularity);
    };
    record->ASIOGetLatencies = [driver](int32_t& input, int32_t& output) {
      return driver->getLatencies(input, output);
    };
    record->ASIOCreateBuffers = [driver](platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                         const platform::AudioCallbacks& callbacks) {
      return driver->createBuffers(infos, count, blockLength, callbacks);
    };
    record->ASIOGetChannelInfo = [driver](platform::AudioChannelInfo& info) { return driver->getChannelInfo(info); };
    record->ASIOOutputReady = [driver] { return driver->outputReady(); };
    record->ASIOStart = [driver] { return driver->start(); };
    record->ASIOStop = [driver] { return driver->stop(); };
    record->ASIODisposeBuffers = [driver] { return driver->disposeBuffers(); };
    record->ASIOControlPanel = [] { return platform::ASE_NotPresent; };
    record->keepAlive = driver;
    return record;
  };
  return result;
}

void VirtualDevice::release() {
  state_->clock.release();
}

int64_t VirtualDevice::blocks() const {
  return state_->clock.blocks();
}

bool VirtualDevice::limitReached() const {
  return state_->options.blockLimit >= 0 && state_->clock.blocks() >= state_->options.blockLimit;
}

std::vector<int64_t> VirtualDevice::lateness() const {
  return state_->clock.lateness();
}

uint64_t VirtualDevice::captureFramesLost() const {
  return state_->report.framesLost();
}

std::wstring VirtualDevice::captureError() const {
  return state_->report.error();
}

double VirtualDevice::sourceRate() const {
  return state_->source.sampleRate;
}

}  // namespace tarnwick::sound
