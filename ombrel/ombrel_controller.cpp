// The controller's side: parameters, their text and their values. The effect has no editor of its own and changes no
// parameter by itself.
#include <algorithm>
#include <cmath>

#include "ombrel/ascii_text.h"
#include "ombrel/ombrel_component.h"
#include "pluginterfaces/vst/ivstunits.h"

namespace tarnwick::ombrel {

using namespace Steinberg;
using namespace Steinberg::Vst;

int32 PLUGIN_API OmbrelComponent::getParameterCount() {
  return kParameterCount;
}

tresult PLUGIN_API OmbrelComponent::getParameterInfo(int32 index, ParameterInfo& info) {
  const Parameter* const parameter = FindParameter(static_cast<uint32>(index));
  if (parameter == nullptr) {
    return kInvalidArgument;
  }
  info = {};
  info.id = static_cast<ParamID>(index);
  CopyAscii(parameter->title, info.title);
  CopyAscii(parameter->title, info.shortTitle);
  CopyAscii(parameter->unit, info.units);
  info.stepCount = 0;
  info.defaultNormalizedValue = ToNormalized(*parameter, parameter->standard);
  info.unitId = kRootUnitId;
  info.flags = ParameterInfo::kCanAutomate;
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::getParamStringByValue(ParamID id, ParamValue normalized, String128 string) {
  const Parameter* const parameter = FindParameter(id);
  if (parameter == nullptr || string == nullptr) {
    return kInvalidArgument;
  }
  std::array<char, 16> text = {};
  const size_t length = FormatValue(*parameter, normalized, text);
  CopyAscii({text.data(), length}, *reinterpret_cast<String128*>(string));
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::getParamValueByString(ParamID id, TChar* string, ParamValue& normalized) {
  const Parameter* const parameter = FindParameter(id);
  if (parameter == nullptr || string == nullptr) {
    return kInvalidArgument;
  }
  std::array<char, 128> text = {};
  const auto value = ParseValue(*parameter, ToAscii(string, text));
  if (!value) {
    return kResultFalse;
  }
  normalized = *value;
  return kResultOk;
}

ParamValue PLUGIN_API OmbrelComponent::normalizedParamToPlain(ParamID id, ParamValue normalized) {
  const Parameter* const parameter = FindParameter(id);
  return parameter != nullptr ? ToPlain(*parameter, normalized) : normalized;
}

ParamValue PLUGIN_API OmbrelComponent::plainParamToNormalized(ParamID id, ParamValue plain) {
  const Parameter* const parameter = FindParameter(id);
  return parameter != nullptr ? ToNormalized(*parameter, plain) : plain;
}

ParamValue PLUGIN_API OmbrelComponent::getParamNormalized(ParamID id) {
  return FindParameter(id) != nullptr ? values_[id].load(std::memory_order_relaxed) : 0.0;
}

tresult PLUGIN_API OmbrelComponent::setParamNormalized(ParamID id, ParamValue value) {
  if (FindParameter(id) == nullptr || std::isnan(value)) {
    return kInvalidArgument;
  }
  values_[id].store(std::clamp(value, 0.0, 1.0), std::memory_order_relaxed);
  return kResultOk;
}

tresult PLUGIN_API OmbrelComponent::setComponentHandler(IComponentHandler* /*handler*/) {
  return kResultOk;
}

IPlugView* PLUGIN_API OmbrelComponent::createView(FIDString /*name*/) {
  return nullptr;
}

}  // namespace tarnwick::ombrel
