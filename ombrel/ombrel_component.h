// The effect as a VST3 host sees it: processor and controller in one object, one mono input and one mono output.
#pragma once

#include <array>
#include <atomic>

#include "ombrel/expander.h"
#include "ombrel/parameters.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"

namespace tarnwick::ombrel {

// Its methods keep to the threads that VST3 gives them: process on the audio thread, the controller's and the states'
// on the user interface's, also while process runs. The parameter values are all that these share.
class OmbrelComponent final : public Steinberg::Vst::IComponent,
                              public Steinberg::Vst::IAudioProcessor,
                              public Steinberg::Vst::IEditController {
 public:
  OmbrelComponent();  // one reference, the caller's
  OmbrelComponent(const OmbrelComponent&) = delete;
  OmbrelComponent& operator=(const OmbrelComponent&) = delete;

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID interfaceId, void** object) override;
  Steinberg::uint32 PLUGIN_API addRef() override;
  Steinberg::uint32 PLUGIN_API release() override;

  // IPluginBase of both sides. A host that takes the two for separate objects calls each of them twice.
  Steinberg::tresult PLUGIN_API initialize(Steinberg::FUnknown* context) override;
  Steinberg::tresult PLUGIN_API terminate() override;

  // IComponent
  Steinberg::tresult PLUGIN_API getControllerClassId(Steinberg::TUID classId) override;
  Steinberg::tresult PLUGIN_API setIoMode(Steinberg::Vst::IoMode mode) override;
  Steinberg::int32 PLUGIN_API getBusCount(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir) override;
  Steinberg::tresult PLUGIN_API getBusInfo(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir,
                                           Steinberg::int32 index, Steinberg::Vst::BusInfo& bus) override;
  Steinberg::tresult PLUGIN_API getRoutingInfo(Steinberg::Vst::RoutingInfo& in,
                                               Steinberg::Vst::RoutingInfo& out) override;
  Steinberg::tresult PLUGIN_API activateBus(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir,
                                            Steinberg::int32 index, Steinberg::TBool state) override;
  Steinberg::tresult PLUGIN_API setActive(Steinberg::TBool state) override;

  // IComponent and IEditController: one object, one state. A stream that is short or holds something else changes
  // nothing and is answered with kResultFalse.
  Steinberg::tresult PLUGIN_API setState(Steinberg::IBStream* stream) override;
  Steinberg::tresult PLUGIN_API getState(Steinberg::IBStream* stream) override;
  Steinberg::tresult PLUGIN_API setComponentState(Steinberg::IBStream* stream) override;

  // IAudioProcessor
  Steinberg::tresult PLUGIN_API setBusArrangements(Steinberg::Vst::SpeakerArrangement* inputs, Steinberg::int32 numIns,
                                                   Steinberg::Vst::SpeakerArrangement* outputs,
                                                   Steinberg::int32 numOuts) override;
  Steinberg::tresult PLUGIN_API getBusArrangement(Steinberg::Vst::BusDirection dir, Steinberg::int32 index,
                                                  Steinberg::Vst::SpeakerArrangement& arrangement) override;
  Steinberg::tresult PLUGIN_API canProcessSampleSize(Steinberg::int32 symbolicSampleSize) override;
  Steinberg::uint32 PLUGIN_API getLatencySamples() override;
  Steinberg::tresult PLUGIN_API setupProcessing(Steinberg::Vst::ProcessSetup& setup) override;
  Steinberg::tresult PLUGIN_API setProcessing(Steinberg::TBool state) override;
  Steinberg::tresult PLUGIN_API process(Steinberg::Vst::ProcessData& data) override;
  Steinberg::uint32 PLUGIN_API getTailSamples() override;

  // IEditController
  Steinberg::int32 PLUGIN_API getParameterCount() override;
  Steinberg::tresult PLUGIN_API getParameterInfo(Steinberg::int32 index, Steinberg::Vst::ParameterInfo& info) override;
  Steinberg::tresult PLUGIN_API getParamStringByValue(Steinberg::Vst::ParamID id, Steinberg::Vst::ParamValue normalized,
                                                      Steinberg::Vst::String128 string) override;
  Steinberg::tresult PLUGIN_API getParamValueByString(Steinberg::Vst::ParamID id, Steinberg::Vst::TChar* string,
                                                      Steinberg::Vst::ParamValue& normalized) override;
  Steinberg::Vst::ParamValue PLUGIN_API normalizedParamToPlain(Steinberg::Vst::ParamID id,
                                                               Steinberg::Vst::ParamValue normalized) override;
  Steinberg::Vst::ParamValue PLUGIN_API plainParamToNormalized(Steinberg::Vst::ParamID id,
                                                               Steinberg::Vst::ParamValue plain) override;
  Steinberg::Vst::ParamValue PLUGIN_API getParamNormalized(Steinberg::Vst::ParamID id) override;
  Steinberg::tresult PLUGIN_API setParamNormalized(Steinberg::Vst::ParamID id,
                                                   Steinberg::Vst::ParamValue value) override;
  Steinberg::tresult PLUGIN_API setComponentHandler(Steinberg::Vst::IComponentHandler* handler) override;
  Steinberg::IPlugView* PLUGIN_API createView(Steinberg::FIDString name) override;

 private:
  ~OmbrelComponent() = default;  // by release

  NormalizedValues currentValues() const;
  void takeParameterChanges(Steinberg::Vst::IParameterChanges* changes);
  void updateTarget();

  std::atomic<Steinberg::uint32> references_ = 1;

  // Normalized. Written by the user interface and by process, read by both; each value stands alone.
  std::array<std::atomic<double>, kParameterCount> values_;
  static_assert(std::atomic<double>::is_always_lock_free);

  // Process, and the user interface while nothing is processed.
  Expander expander_;
  NormalizedValues appliedValues_ = {};
  double sampleRate_ = 48000.0;
};

}  // namespace tarnwick::ombrel
