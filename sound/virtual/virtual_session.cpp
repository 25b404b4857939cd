#include "sound/virtual/virtual_session.h"

#include <algorithm>

namespace tarnwick::sound {

VirtualSession::VirtualSession(const VirtualOptions& options, ClockThread& clock, const WavSamples* source,
                               WavWriter* captureFile, CaptureReport& report)
    : options_(options), clock_(clock), source_(source), captureFile_(captureFile), report_(report) {}

VirtualSession::~VirtualSession() {
  stop();
}

void VirtualSession::create(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength, double sampleRate,
                            const platform::AudioCallbacks& callbacks) {
  callbacks_ = callbacks;
  blockLength_ = blockLength;
  sampleRate_ = sampleRate;
  inputs_.assign(static_cast<size_t>(options_.inputs), BufferHalves{});
  outputs_.assign(static_cast<size_t>(options_.outputs), BufferHalves{});
  const size_t lines = (static_cast<size_t>(blockLength) * sizeof(float) + sizeof(CacheLine) - 1) / sizeof(CacheLine);
  memory_.assign(2 * lines * static_cast<size_t>(count), CacheLine{});
  CacheLine* next = memory_.data();
  for (int32_t i = 0; i < count; ++i) {
    BufferHalves& channel = (infos[i].isInput ? inputs_ : outputs_)[static_cast<size_t>(infos[i].channelNum)];
    for (size_t half = 0; half < 2; ++half) {
      infos[i].buffers[half] = next;
      channel[half] = reinterpret_cast<float*>(next);
      next += lines;
    }
  }
}

void VirtualSession::start() {
  std::fill(memory_.begin(), memory_.end(), CacheLine{});
  sources_ = std::make_unique<SignalSources>(options_.inputs, source_, sampleRate_);
  if (captureFile_ && !capture_) {
    capture_ = std::make_unique<CaptureWriter>(*captureFile_, report_,
                                               CaptureFormat{options_.outputs, blockLength_, sampleRate_},
                                               options_.clock == VirtualClock::fast);
  }
  clock_.start({blockLength_, sampleRate_, [this](int64_t block) { deliver(block); }});
}

void VirtualSession::stop() {
  clock_.stop();
}

void VirtualSession::deliver(int64_t block) {
  const auto half = static_cast<size_t>(block & 1);
  fillInputs(half);
  const bool played = callbacks_.bufferSwitch(callbacks_.context, static_cast<int32_t>(half), true);
  if (capture_) {
    takeOutputs(half, played);
  }
}

void VirtualSession::fillInputs(size_t half) {
  for (size_t k = 0; k < inputs_.size(); ++k) {
    // Sources of channels that nobody hears stand still, as a channel's sound is not tied to another's.
    if (inputs_[k][half] != nullptr) {
      sources_->render(static_cast<int32_t>(k), inputs_[k][half], blockLength_);
    }
  }
}

void VirtualSession::takeOutputs(size_t half, bool played) {
  float* to = capture_->acquire();
  if (!to) {
    return;
  }
  for (const BufferHalves& output : outputs_) {
    if (played && output[half] != nullptr) {
      std::copy_n(output[half], blockLength_, to);
    } else {
      std::fill_n(to, blockLength_, 0.0f);
    }
    to += blockLength_;
  }
  capture_->commit();
}

}  // namespace tarnwick::sound
