#include "platform/audio/alsa/alsa_driver.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <exception>
#include <utility>

#include "platform/audio/alsa/alsa_buffers.h"
#include "platform/audio/alsa/alsa_parameters.h"
#include "platform/session_limits.h"

namespace tarnwick::platform {
namespace {

constexpr int32_t kPreferredBlock = 256;

}  // namespace

// Between createBuffers and disposeBuffers.
struct AlsaDriver::Session {
  Session(AlsaStream* captureStream, AlsaStream* playbackStream) : duplex(captureStream, playbackStream) {}

  AlsaRun run;
  AlsaBuffers buffers;
  AlsaDuplex duplex;
  AlsaWake lossSignal;
  AlsaThread thread{duplex};
  std::unique_ptr<AlsaReporter> reporter;  // while started
};

AlsaDriver::AlsaDriver(AlsaDevice device, BackEndHooks hooks) : device_(std::move(device)), hooks_(std::move(hooks)) {}

AlsaDriver::~AlsaDriver() {
  ASIOExit();
}

AsioError AlsaDriver::init(const AudioInitRequest& request) {
  if (!(request.sampleRate >= kLowestSampleRate && request.sampleRate <= kHighestSampleRate)) {
    return ASE_NoClock;
  }
  if (!openStreams()) {
    return ASE_NotPresent;
  }
  if (!chooseRate(request.sampleRate)) {
    return ASE_NoClock;
  }
  return probe() ? ASE_OK : ASE_InvalidMode;
}

void AlsaDriver::exit() {
  captureStream_.reset();
  playbackStream_.reset();
}

bool AlsaDriver::openStreams() {
  int error = -ENODEV;
  if (!device_.capturePcm.empty()) {
    captureStream_ = AlsaStream::open(device_.capturePcm, AlsaDirection::capture, error);
  }
  if (!device_.playbackPcm.empty() && (captureStream_ || device_.capturePcm.empty())) {
    playbackStream_ = AlsaStream::open(device_.playbackPcm, AlsaDirection::playback, error);
  }
  if (error < 0) {
    say(error == -EBUSY ? L"is in use by another program." : L"cannot be opened: " + AlsaErrorText(error) + L".");
  }
  return error >= 0;
}

bool AlsaDriver::chooseRate(double wanted) {
  const AlsaStream* streams[] = {captureStream_.get(), playbackStream_.get()};
  uint32_t lowest = 0;
  uint32_t highest = UINT32_MAX;
  for (const AlsaStream* stream : streams) {
    uint32_t low = 0;
    uint32_t high = 0;
    if (stream && stream->rateRange(low, high)) {
      lowest = std::max(lowest, low);
      highest = std::min(highest, high);
    }
  }
  const auto asked = static_cast<uint32_t>(std::lround(wanted));
  rate_ = NearestAlsaRate(asked, lowest, highest, [&](uint32_t rate) {
    return std::all_of(std::begin(streams), std::end(streams),
                       [rate](const AlsaStream* stream) { return !stream || stream->hasRate(rate); });
  });
  if (rate_ == 0) {
    say(L"has no sample rate that can be used.");
    return false;
  }
  tellsRate_ = rate_ != asked;
  if (tellsRate_) {
    say(L"does not run at " + std::to_wstring(asked) + L" Hz; it runs at " + std::to_wstring(rate_) + L" Hz.");
  }
  return true;
}

bool AlsaDriver::probe() {
  capture_ = playback_ = AlsaAbility{};
  int error = captureStream_ ? captureStream_->probe(rate_, device_.choice, capture_) : 0;
  if (error >= 0 && playbackStream_) {
    error = playbackStream_->probe(rate_, device_.choice, playback_);
  }
  if (error < 0) {
    say(L"has no sample format that can be used (" + AlsaErrorText(error) + L").");
  }
  return error >= 0;
}

AsioError AlsaDriver::getChannels(int32_t& inputs, int32_t& outputs) {
  inputs = capture_.channels;
  outputs = playback_.channels;
  return ASE_OK;
}

AsioError AlsaDriver::getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) {
  minimum = std::max(capture_.minimumBlock, playback_.minimumBlock);
  maximum = INT32_MAX;
  for (const AlsaAbility* ability : {&capture_, &playback_}) {
    if (ability->channels > 0) {
      maximum = std::min(maximum, ability->maximumBlock);
    }
  }
  if (minimum > maximum) {
    return ASE_InvalidMode;
  }
  preferred = std::clamp(kPreferredBlock, minimum, maximum);
  granularity = 1;
  return ASE_OK;
}

AsioError AlsaDriver::getLatencies(int32_t& input, int32_t& output) {
  input = output = 0;
  if (!session_) {
    int32_t minimum = 0;
    int32_t maximum = 0;
    int32_t preferred = 0;
    int32_t granularity = 0;
    const AsioError result = getBufferSize(minimum, maximum, preferred, granularity);
    input = captureStream_ ? preferred : 0;
    output = playbackStream_ ? (device_.periods - 1) * preferred : 0;
    return result;
  }
  const AlsaStatus& status = session_->thread.status();
  const int32_t block = session_->run.blockLength;
  if (captureStream_) {
    input = block + status.captureDelay.load(std::memory_order_relaxed);
  }
  if (playbackStream_) {
    output =
        static_cast<int32_t>(playbackStream_->held()) - block + status.playbackDelay.load(std::memory_order_relaxed);
  }
  return ASE_OK;
}

AsioError AlsaDriver::createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                    const AudioCallbacks& callbacks) {
  const AsioError configured = configure(blockLength);
  if (configured != ASE_OK) {
    return configured;
  }
  auto created = std::make_unique<Session>(captureStream_.get(), playbackStream_.get());
  created->run.callbacks = callbacks;
  created->run.blockLength = blockLength;
  created->run.sampleRate = rate_;
  created->run.tellsRate = tellsRate_;
  created->buffers.make(infos, count, capture_, playback_, created->run);
  session_ = std::move(created);
  return ASE_OK;
}

AsioError AlsaDriver::configure(int32_t blockLength) {
  const AlsaSetup setup{rate_, blockLength, std::max(2, device_.periods)};
  for (AlsaStream* stream : {captureStream_.get(), playbackStream_.get()}) {
    if (!stream) {
      continue;
    }
    const int error = stream->configure(setup, device_.choice);
    if (error < 0) {
      say(L"cannot be set up with blocks of " + std::to_wstring(blockLength) + L": " + AlsaErrorText(error) + L".");
      return error == -ENOMEM ? ASE_NoMemory : ASE_InvalidMode;
    }
    if (stream->period() != blockLength) {
      say(L"has periods of " + std::to_wstring(stream->period()) + L" for blocks of " + std::to_wstring(blockLength) +
          (stream == captureStream_.get() ? L" in capture." : L" in playback."));
    }
  }
  return ASE_OK;
}

AsioError AlsaDriver::getChannelInfo(AudioChannelInfo& info) {
  info.type = (info.isInput ? capture_ : playback_).sampleType;
  std::snprintf(info.name, sizeof info.name, "%s %d", info.isInput ? "In" : "Out", info.channel + 1);
  return ASE_OK;
}

AsioError AlsaDriver::start() {
  session_->buffers.silence();
  session_->run.lossSignal = &session_->lossSignal;
  const int error = session_->thread.start(session_->run);
  if (error < 0) {
    say(L"does not start: " + AlsaErrorText(error) + L".");
    return ASE_HWMalfunction;
  }
  try {
    session_->reporter =
        std::make_unique<AlsaReporter>(device_.name, session_->thread.status(), session_->lossSignal, hooks_);
  } catch (const std::exception&) {
    stop();
    return ASE_NoMemory;
  }
  return ASE_OK;
}

AsioError AlsaDriver::stop() {
  session_->thread.stop();
  session_->reporter.reset();
  return ASE_OK;
}

AsioError AlsaDriver::disposeBuffers() {
  session_.reset();
  for (AlsaStream* stream : {captureStream_.get(), playbackStream_.get()}) {
    if (stream) {
      stream->release();
    }
  }
  return ASE_OK;
}

void AlsaDriver::say(const std::wstring& text) const {
  if (hooks_.log) {
    hooks_.log(L"ALSA: " + device_.name + L" " + text);
  }
}

}  // namespace tarnwick::platform
