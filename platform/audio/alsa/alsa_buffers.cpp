#include "platform/audio/alsa/alsa_buffers.h"

namespace tarnwick::platform {

void AlsaBuffers::make(AudioBufferInfo* infos, int32_t count, const AlsaAbility& capture, const AlsaAbility& playback,
                       AlsaRun& run) {
  for (const size_t half : {0, 1}) {
    run.inputs[half].assign(static_cast<size_t>(capture.channels), nullptr);
    run.outputs[half].assign(static_cast<size_t>(playback.channels), nullptr);
  }
  const auto linesOf = [&run](const AlsaAbility& ability) {
    const auto bytes = static_cast<size_t>(run.blockLength) * static_cast<size_t>(BytesPerSample(ability.sampleType));
    return (bytes + sizeof(CacheLine) - 1) / sizeof(CacheLine);
  };
  size_t lines = 0;
  for (int32_t k = 0; k < count; ++k) {
    lines += 2 * linesOf(infos[k].isInput ? capture : playback);
  }
  memory_.assign(lines, CacheLine{});
  CacheLine* next = memory_.data();
  for (int32_t k = 0; k < count; ++k) {
    std::vector<void*>* halves = infos[k].isInput ? run.inputs : run.outputs;
    for (const size_t half : {0, 1}) {
      infos[k].buffers[half] = halves[half][static_cast<size_t>(infos[k].channelNum)] = next;
      next += linesOf(infos[k].isInput ? capture : playback);
    }
  }
}

}  // namespace tarnwick::platform
