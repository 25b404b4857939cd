#include "sound/virtual/virtual_driver.h"

#include <cstdio>
#include <filesystem>
#include <utility>

#include "platform/audio/ordered_driver.h"
#include "sound/virtual/virtual_session.h"
#include "sound/wav_format.h"

namespace tarnwick::sound {
namespace {

constexpr int32_t kMaximumChannels = 1024;

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
  return L"";
}

bool sameFile(const std::wstring& a, const std::wstring& b) {
  std::error_code failure;
  return std::filesystem::equivalent(wav::PathFromWide(a), wav::PathFromWide(b), failure);
}

}  // namespace

// Owned by the device and by every driver that it has handed out.
struct VirtualDevice::State {
  explicit State(VirtualOptions given)
      : options(std::move(given)), clock(options.clock, options.held, options.blockLimit) {}

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

class VirtualDevice::State::Driver final : public platform::OrderedDriver {
 public:
  explicit Driver(std::shared_ptr<State> state) : state_(std::move(state)), options_(state_->options) {}
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver() override { ASIOExit(); }

  platform::AsioError ASIOOutputReady() noexcept override { return platform::ASE_OK; }

 private:
  platform::AsioError init(const platform::AudioInitRequest& request) override {
    if (!state_->present) {
      return platform::ASE_NotPresent;
    }
    if (!(request.sampleRate >= kLowestVirtualRate && request.sampleRate <= kHighestVirtualRate)) {
      return platform::ASE_NoClock;
    }
    sampleRate_ = request.sampleRate;
    return platform::ASE_OK;
  }

  void exit() override {}

  platform::AsioError state() const override { return state_->present ? platform::ASE_OK : platform::ASE_NotPresent; }

  platform::AsioError getChannels(int32_t& inputs, int32_t& outputs) override {
    inputs = options_.inputs;
    outputs = options_.outputs;
    return platform::ASE_OK;
  }

  platform::AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred,
                                    int32_t& granularity) override {
    minimum = kShortestVirtualBlock;
    maximum = kLongestVirtualBlock;
    preferred = kPreferredVirtualBlock;
    granularity = 1;
    return platform::ASE_OK;
  }

  platform::AsioError getLatencies(int32_t& input, int32_t& output) override {
    input = output = hasSession() ? state_->session->blockLength() : kPreferredVirtualBlock;
    return platform::ASE_OK;
  }

  platform::AsioError createBuffers(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                    const platform::AudioCallbacks& callbacks) override {
    if (state_->session) {
      return platform::ASE_InvalidMode;
    }
    state_->session =
        std::make_unique<VirtualSession>(options_, state_->clock, state_->source.frames > 0 ? &state_->source : nullptr,
                                         state_->captureFile.get(), state_->report);
    state_->session->create(infos, count, blockLength, sampleRate_, callbacks);
    state_->owner = this;
    return platform::ASE_OK;
  }

  platform::AsioError getChannelInfo(platform::AudioChannelInfo& info) override {
    info.type = platform::kFloat32LSB;
    std::snprintf(info.name, sizeof(info.name), "Virtual %s %d", info.isInput ? "In" : "Out", info.channel + 1);
    return platform::ASE_OK;
  }

  platform::AsioError start() override {
    state_->session->start();
    return platform::ASE_OK;
  }

  platform::AsioError stop() override {
    if (hasSession()) {
      state_->session->stop();
    }
    return platform::ASE_OK;
  }

  platform::AsioError disposeBuffers() override {
    if (hasSession()) {
      state_->session.reset();
      state_->owner = nullptr;
    }
    return platform::ASE_OK;
  }

  // Not when the device has gone.
  bool hasSession() const { return state_->session && state_->owner == this; }

  const std::shared_ptr<State> state_;
  const VirtualOptions& options_;
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
    return std::make_unique<State::Driver>(state);
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
