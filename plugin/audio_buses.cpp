#include "plugin/audio_buses.h"

#include <algorithm>
#include <bit>

#include "plugin/guarded_call.h"
#include "pluginterfaces/vst/vstspeaker.h"

namespace tarnwick::plugin {
namespace {

namespace Vst = Steinberg::Vst;
using Steinberg::int32;
using Steinberg::kResultOk;

int32 channelsOfFirstBus(PluginInstance& instance, Vst::BusDirection direction) {
  int32 channels = 1;
  Vst::BusInfo info = {};
  if (guarded([&] { return instance.component->getBusInfo(Vst::kAudio, direction, 0, info); }) == kResultOk) {
    channels = info.channelCount;
  }
  Vst::SpeakerArrangement speakers = 0;
  if (guarded([&] { return instance.processor->getBusArrangement(direction, 0, speakers); }) == kResultOk) {
    channels = std::max(channels, static_cast<int32>(std::popcount(speakers)));
  }
  return std::clamp(channels, 1, kMostBusChannels);
}

void describeBus(Vst::AudioBusBuffers& bus, float** channels, int32 count) {
  bus.numChannels = count;
  bus.silenceFlags = 0;
  bus.channelBuffers32 = channels;
}

}  // namespace

BusWidths ArrangeAudioBuses(PluginInstance& instance) {
  Vst::SpeakerArrangement input = Vst::SpeakerArr::kMono;
  Vst::SpeakerArrangement output = Vst::SpeakerArr::kMono;
  guarded([&] { return instance.processor->setBusArrangements(&input, 1, &output, 1); });
  guarded([&] { return instance.component->activateBus(Vst::kAudio, Vst::kInput, 0, true); });
  guarded([&] { return instance.component->activateBus(Vst::kAudio, Vst::kOutput, 0, true); });
  return {channelsOfFirstBus(instance, Vst::kInput), channelsOfFirstBus(instance, Vst::kOutput)};
}

void WireAudioBuses(PluginInstance& instance, const BusWidths& widths, int32 maxBlock) {
  const auto samples = static_cast<size_t>(maxBlock);
  instance.inputBuffer.assign(samples, 0.0f);
  instance.outputBuffer.assign(samples, 0.0f);
  instance.inputChannel = instance.inputBuffer.data();
  instance.outputChannel = instance.outputBuffer.data();
  describeBus(instance.inputBus, &instance.inputChannel, 1);
  describeBus(instance.outputBus, &instance.outputChannel, 1);

  if (widths.inputs > 1) {
    instance.wideInputs.assign(static_cast<size_t>(widths.inputs), instance.inputChannel);
    describeBus(instance.inputBus, instance.wideInputs.data(), widths.inputs);
  }
  if (widths.outputs > 1) {
    const auto outputs = static_cast<size_t>(widths.outputs);
    instance.extraOutputs.assign((outputs - 1) * samples, 0.0f);
    instance.wideOutputs.assign(outputs, instance.outputChannel);
    for (size_t channel = 1; channel < outputs; ++channel) {
      instance.wideOutputs[channel] = instance.extraOutputs.data() + (channel - 1) * samples;
    }
    describeBus(instance.outputBus, instance.wideOutputs.data(), widths.outputs);
  }

  // An effect with more buses is still shown one on each side: the others are inactive. Parameter changes, events and
  // process context are not sent and stay null.
  Vst::ProcessData& data = instance.processData;
  data.processMode = Vst::kRealtime;
  data.symbolicSampleSize = Vst::kSample32;
  data.numInputs = 1;
  data.numOutputs = 1;
  data.inputs = &instance.inputBus;
  data.outputs = &instance.outputBus;
}

}  // namespace tarnwick::plugin
