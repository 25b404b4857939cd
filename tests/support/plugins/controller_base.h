// The test effect's one parameter, "Gain", and the reference counting that its objects share.
#pragma once

#include <atomic>
#include <cstring>
#include <string>

#include "behaviour.h"
#include "call_log.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"

namespace tarnwick::test_plugin {

constexpr Steinberg::Vst::ParamID kGainId = 1701;  // not its index
constexpr double kDefaultGain = 0.5;

inline bool isId(const Steinberg::TUID iid, const Steinberg::FUID& known) {
  return std::memcmp(iid, known.toTUID(), sizeof(Steinberg::TUID)) == 0;
}

inline Steinberg::tresult resultOf(bool failed) {
  return failed ? Steinberg::kResultFalse : Steinberg::kResultOk;
}

// Counts an object among the module's live ones and logs its end.
class Counted {
 public:
  explicit Counted(const char* name) : name_(name) { ++liveObjects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() {
    --liveObjects;
    Log(std::string(name_) + " freed");
  }

  Steinberg::uint32 add() { return ++references_; }
  Steinberg::uint32 drop() {
    const auto left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

 private:
  const char* name_;
  Steinberg::uint32 references_ = 1;
};

class GainParameter {
 public:
  Steinberg::int32 count() const { return Does("no-parameters") ? 0 : 1; }

  Steinberg::tresult describe(Steinberg::int32 index, Steinberg::Vst::ParameterInfo& info) const {
    if (Fails("parameter-info") || index != 0) {
      return Steinberg::kResultFalse;
    }
    info = {};
    info.id = kGainId;
    const char16_t title[] = u"Gain";
    std::memcpy(info.title, title, sizeof title);
    info.defaultNormalizedValue = kDefaultGain;
    info.flags = Steinberg::Vst::ParameterInfo::kCanAutomate;
    return Steinberg::kResultOk;
  }

  Steinberg::tresult set(Steinberg::Vst::ParamID id, double value) {
    Log("setParamNormalized " + std::to_string(id) + " " + std::to_string(value));
    if (Fails("set-parameter") || id != kGainId) {
      return Steinberg::kInvalidArgument;
    }
    value_.store(value, std::memory_order_relaxed);
    return Steinberg::kResultOk;
  }

  double value() const { return value_.load(std::memory_order_relaxed); }

 private:
  std::atomic<double> value_{kDefaultGain};
};

// The part of IEditController that both the separate and the single-component controller share.
template <typename... OtherInterfaces>
class ControllerBase : public OtherInterfaces... {
 public:
  Steinberg::tresult PLUGIN_API setComponentState(Steinberg::IBStream*) override { return Steinberg::kResultOk; }
  Steinberg::tresult PLUGIN_API setState(Steinberg::IBStream*) override { return Steinberg::kResultOk; }
  Steinberg::tresult PLUGIN_API getState(Steinberg::IBStream*) override { return Steinberg::kResultOk; }
  Steinberg::int32 PLUGIN_API getParameterCount() override { return gain.count(); }
  Steinberg::tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Steinberg::Vst::ParameterInfo& info) override {
    return gain.describe(index, info);
  }
  Steinberg::tresult PLUGIN_API getParamStringByValue(Steinberg::Vst::ParamID, Steinberg::Vst::ParamValue,
                                                      Steinberg::Vst::String128) override {
    return Steinberg::kNotImplemented;
  }
  Steinberg::tresult PLUGIN_API getParamValueByString(Steinberg::Vst::ParamID, Steinberg::Vst::TChar*,
                                                      Steinberg::Vst::ParamValue&) override {
    return Steinberg::kNotImplemented;
  }
  Steinberg::Vst::ParamValue PLUGIN_API normalizedParamToPlain(Steinberg::Vst::ParamID,
                                                               Steinberg::Vst::ParamValue value) override {
    return value;
  }
  Steinberg::Vst::ParamValue PLUGIN_API plainParamToNormalized(Steinberg::Vst::ParamID,
                                                               Steinberg::Vst::ParamValue value) override {
    return value;
  }
  Steinberg::Vst::ParamValue PLUGIN_API getParamNormalized(Steinberg::Vst::ParamID) override { return gain.value(); }
  Steinberg::tresult PLUGIN_API setParamNormalized(Steinberg::Vst::ParamID id,
                                                   Steinberg::Vst::ParamValue value) override {
    return gain.set(id, value);
  }
  Steinberg::tresult PLUGIN_API setComponentHandler(Steinberg::Vst::IComponentHandler* handler) override {
    Log(handler != nullptr ? "controller.setComponentHandler host" : "controller.setComponentHandler null");
    return Steinberg::kResultOk;
  }
  Steinberg::IPlugView* PLUGIN_API createView(Steinberg::FIDString) override { return nullptr; }

 protected:
  ~ControllerBase() = default;
  GainParameter gain;
};

}  // namespace tarnwick::test_plugin
