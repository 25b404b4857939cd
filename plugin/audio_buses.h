// The audio buses of an instance: mono when the effect agrees, and safe buffers when it does not.
#pragma once

#include "plugin/plugin_instance.h"

namespace tarnwick::plugin {

// Most channels that a bus is given: as many as a speaker arrangement can name.
constexpr Steinberg::int32 kMostBusChannels = 64;

struct BusWidths {
  Steinberg::int32 inputs = 1;  // channels of the bus, 1..kMostBusChannels
  Steinberg::int32 outputs = 1;
};

// Asks for one mono bus on each side and activates it. An effect may refuse and keep what it had, so the result is what
// its first buses have afterwards: the wider of its two answers, because an effect writes as many channels as it thinks
// it has. No bus, no answer or a count below 1 is mono. Buses beyond the first are left inactive.
BusWidths ArrangeAudioBuses(PluginInstance& instance);

// Allocates the buffers for blocks of `maxBlock` samples, all 0.0, and points the process data at them. Throws when
// there is no memory.
void WireAudioBuses(PluginInstance& instance, const BusWidths& widths, Steinberg::int32 maxBlock);

}  // namespace tarnwick::plugin
