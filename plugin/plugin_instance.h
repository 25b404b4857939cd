// One running copy of the effect: its VST3 objects and its preallocated mono buffers.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstmessage.h"

namespace tarnwick::plugin {

// Lives on the heap and is never copied or moved: the process data points into it. The user-interface thread creates
// and tears it down; between the two exactly one audio thread at a time calls ProcessBlock.
struct PluginInstance {
  PluginInstance() = default;
  PluginInstance(const PluginInstance&) = delete;
  PluginInstance& operator=(const PluginInstance&) = delete;

  Steinberg::Vst::IComponent* component = nullptr;
  Steinberg::Vst::IAudioProcessor* processor = nullptr;
  Steinberg::Vst::IEditController* controller = nullptr;  // may be null
  bool controllerIsComponent = false;                     // one object is both: nothing to connect, one terminate
  Steinberg::Vst::IConnectionPoint* componentConnection = nullptr;
  Steinberg::Vst::IConnectionPoint* controllerConnection = nullptr;
  bool connected = false;

  void* editorWindow = nullptr;
  Steinberg::IPlugView* editorView = nullptr;
  Steinberg::IPlugFrame* editorFrame = nullptr;
  int32_t editorState = 0;

  std::vector<float> inputBuffer;   // largest block length, in samples
  std::vector<float> outputBuffer;  // same size
  float* inputChannel = nullptr;    // the one-entry channel array of the input bus
  float* outputChannel = nullptr;
  Steinberg::Vst::AudioBusBuffers inputBus;
  Steinberg::Vst::AudioBusBuffers outputBus;
  Steinberg::Vst::ProcessData processData;

  // Only for an effect that refused mono and kept wider buses: channel arrays as wide as its buses report. Every input
  // entry points at inputBuffer; output entry 0 at outputBuffer, the others each at a buffer of their own in
  // extraOutputs, so that the effect never writes outside what we own.
  std::vector<float*> wideInputs;
  std::vector<float*> wideOutputs;
  std::vector<float> extraOutputs;
};

// Runs one block of `n` samples from `in` to `out` (both at least n floats; they may be the same). A caller that uses
// the instance's own inputBuffer as `in` and its outputBuffer as `out` saves the copies. Passes `in` through unchanged
// when `instance` or its processor is missing, when n exceeds its buffers, or when the effect's process call fails;
// false for the last only: an effect may have written into its own input buffer by then. Null `in` or `out`, or n < 1:
// nothing is done. Audio path: no allocation, no lock.
bool ProcessBlock(PluginInstance* instance, const float* in, float* out, int32_t n) noexcept;

// Sets the parameter with index 0 to `normalized`, clamped to 0..1. True exactly when the effect accepted it.
// User-interface thread.
bool SetFirstParameter(PluginInstance& instance, double normalized);
// The value of the parameter with index 0, 0..1; nothing when the effect has none. User-interface thread.
std::optional<double> FirstParameter(PluginInstance& instance);

}  // namespace tarnwick::plugin
