#include "plugin/plugin_instance.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "plugin/guarded_call.h"

namespace tarnwick::plugin {
namespace {

using Steinberg::kResultOk;

// The two may be one buffer or overlap.
void passThrough(const float* in, float* out, size_t samples) noexcept {
  std::memmove(out, in, samples * sizeof(float));
}

}  // namespace

bool ProcessBlock(PluginInstance* instance, const float* in, float* out, int32_t n) noexcept {
  if (in == nullptr || out == nullptr || n < 1) {
    return true;
  }
  const auto samples = static_cast<size_t>(n);
  if (instance == nullptr || instance->processor == nullptr || samples > instance->inputBuffer.size() ||
      samples > instance->outputBuffer.size()) {
    passThrough(in, out, samples);
    return true;
  }
  if (in != instance->inputBuffer.data()) {
    std::copy_n(in, samples, instance->inputBuffer.data());
  }
  std::fill_n(instance->outputBuffer.data(), samples, 0.0f);
  for (size_t channel = 1; channel < instance->wideOutputs.size(); ++channel) {
    std::fill_n(instance->wideOutputs[channel], samples, 0.0f);
  }
  // The effect writes these; what it said about the last block is not true of this one.
  instance->inputBus.silenceFlags = 0;
  instance->outputBus.silenceFlags = 0;
  instance->processData.numSamples = n;
  if (guarded([&] { return instance->processor->process(instance->processData); }) != kResultOk) {
    passThrough(in, out, samples);
    return false;
  }
  if (out != instance->outputBuffer.data()) {
    std::copy_n(instance->outputBuffer.data(), samples, out);
  }
  return true;
}

namespace {

// The id of the parameter with index 0.
std::optional<Steinberg::Vst::ParamID> firstParameterId(Steinberg::Vst::IEditController* controller) {
  if (controller == nullptr || guarded([&] { return controller->getParameterCount(); }, Steinberg::int32{0}) <= 0) {
    return std::nullopt;
  }
  Steinberg::Vst::ParameterInfo info = {};
  if (guarded([&] { return controller->getParameterInfo(0, info); }) != kResultOk) {
    return std::nullopt;
  }
  return info.id;
}

}  // namespace

bool SetFirstParameter(PluginInstance& instance, double normalized) {
  auto* controller = instance.controller;
  const auto id = firstParameterId(controller);
  const double value = std::fmin(std::fmax(normalized, 0.0), 1.0);  // a NaN becomes 0
  return id && guarded([&] { return controller->setParamNormalized(*id, value); }) == kResultOk;
}

std::optional<double> FirstParameter(PluginInstance& instance) {
  auto* controller = instance.controller;
  const auto id = firstParameterId(controller);
  if (!id) {
    return std::nullopt;
  }
  const double value = guarded([&] { return controller->getParamNormalized(*id); }, 0.0);
  return std::fmin(std::fmax(value, 0.0), 1.0);
}

}  // namespace tarnwick::plugin
