#include "sound/virtual/virtual_session.h"

#include <algorithm>
#include <new>
#include <system_error>

namespace tarnwick::sound {

VirtualSession::VirtualSession(const VirtualOptions& options, ClockThread& clock, const WavSamples* source,
                               WavWriter* captureFile, CaptureReport& report)
    : options_(options), clock_(clock), source_(source), captureFile_(captureFile), report_(report) {}

VirtualSession::~VirtualSession() {
  stop();
}

platform::AsioError VirtualSession::create(platform::AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                           double sampleRate, const platform::AudioCallbacks& callbacks) try {
  if (!infos || count < 1 || blockLength < options_.minimumBlock || blockLength > options_.maximumBlock ||
      !callbacks.bufferSwitch) {
    return platform::ASE_InvalidParameter;
  }
  run_.callbacks = callbacks;
  run_.blockLength = blockLength;
  run_.sampleRate = sampleRate;
  run_.inputs.assign(static_cast<size_t>(options_.inputs), BufferHalves{});
  run_.outputs.assign(static_cast<size_t>(options_.outputs), BufferHalves{});

  const size_t bytes =
      static_cast<size_t>(blockLength) * static_cast<size_t>(platform::BytesPerSample(options_.sampleType));
  const size_t lines = (bytes + sizeof(CacheLine) - 1) / sizeof(CacheLine);
  memory_.assign(2 * lines * std::min<size_t>(static_cast<size_t>(count), run_.inputs.size() + run_.outputs.size()),
                 CacheLine{});
  CacheLine* next = memory_.data();
  for (int32_t i = 0; i < count; ++i) {
    std::vector<BufferHalves>& channels = infos[i].isInput ? run_.inputs : run_.outputs;
    const int32_t channel = infos[i].channelNum;
    if (channel < 0 || static_cast<size_t>(channel) >= channels.size() ||
        channels[static_cast<size_t>(channel)][0] != nullptr) {
      return platform::ASE_InvalidParameter;
    }
    for (void*& half : channels[static_cast<size_t>(channel)]) {
      half = next;
      next += lines;
    }
  }
  for (int32_t i = 0; i < count; ++i) {
    const std::vector<BufferHalves>& channels = infos[i].isInput ? run_.inputs : run_.outputs;
    std::copy_n(channels[static_cast<size_t>(infos[i].channelNum)].begin(), 2, infos[i].buffers);
  }
  return platform::ASE_OK;
} catch (const std::bad_alloc&) {
  return platform::ASE_NoMemory;
}

platform::AsioError VirtualSession::start() try {
  std::fill(memory_.begin(), memory_.end(), CacheLine{});
  sources_ = std::make_unique<SignalSources>(options_.inputs, options_.sources, source_, run_.sampleRate,
                                             std::max(run_.sampleRate, options_.faults.newRate));
  if (captureFile_ && !capture_) {
    capture_ = std::make_unique<CaptureWriter>(*captureFile_, report_,
                                               CaptureFormat{options_.outputs, run_.blockLength, run_.sampleRate},
                                               options_.clock == VirtualClock::fast);
  }
  run_.sources = sources_.get();
  run_.capture = capture_.get();
  clock_.start(run_);
  return platform::ASE_OK;
} catch (const std::bad_alloc&) {
  return platform::ASE_NoMemory;
} catch (const std::system_error&) {
  return platform::ASE_NoMemory;
}

void VirtualSession::stop() {
  clock_.stop();
}

bool VirtualSession::hasChannel(bool isInput, int32_t channel) const {
  const std::vector<BufferHalves>& channels = isInput ? run_.inputs : run_.outputs;
  return channel >= 0 && static_cast<size_t>(channel) < channels.size() &&
         channels[static_cast<size_t>(channel)][0] != nullptr;
}

}  // namespace tarnwick::sound
