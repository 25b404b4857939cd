// The test effect: multiplies by its gain, in as many channels as it has been told to have. It is its own controller
// unless it has been told to have a separate one, whose parameter then does not reach the sound.
#pragma once

#include "controller_base.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivstmessage.h"

namespace tarnwick::test_plugin {

class TestComponent final : public ControllerBase<Steinberg::Vst::IComponent, Steinberg::Vst::IAudioProcessor,
                                                  Steinberg::Vst::IConnectionPoint, Steinberg::Vst::IEditController>,
                            public Counted {
 public:
  TestComponent() : Counted("component") {}

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID interfaceId, void** object) override;
  Steinberg::uint32 PLUGIN_API addRef() override { return add(); }
  Steinberg::uint32 PLUGIN_API release() override { return drop(); }

  Steinberg::tresult PLUGIN_API initialize(Steinberg::FUnknown* context) override;
  Steinberg::tresult PLUGIN_API terminate() override;

  Steinberg::tresult PLUGIN_API getControllerClassId(Steinberg::TUID classId) override;
  Steinberg::tresult PLUGIN_API setIoMode(Steinberg::Vst::IoMode) override { return Steinberg::kNotImplemented; }
  Steinberg::int32 PLUGIN_API getBusCount(Steinberg::Vst::MediaType type,
                                          Steinberg::Vst::BusDirection direction) override;
  Steinberg::tresult PLUGIN_API getBusInfo(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection direction,
                                           Steinberg::int32 index, Steinberg::Vst::BusInfo& info) override;
  Steinberg::tresult PLUGIN_API getRoutingInfo(Steinberg::Vst::RoutingInfo&, Steinberg::Vst::RoutingInfo&) override {
    return Steinberg::kNotImplemented;
  }
  Steinberg::tresult PLUGIN_API activateBus(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection direction,
                                            Steinberg::int32 index, Steinberg::TBool state) override;
  Steinberg::tresult PLUGIN_API setActive(Steinberg::TBool state) override;

  Steinberg::tresult PLUGIN_API setBusArrangements(Steinberg::Vst::SpeakerArrangement* inputs,
                                                   Steinberg::int32 inputCount,
                                                   Steinberg::Vst::SpeakerArrangement* outputs,
                                                   Steinberg::int32 outputCount) override;
  Steinberg::tresult PLUGIN_API getBusArrangement(Steinberg::Vst::BusDirection direction, Steinberg::int32 index,
                                                  Steinberg::Vst::SpeakerArrangement& speakers) override;
  Steinberg::tresult PLUGIN_API canProcessSampleSize(Steinberg::int32) override { return Steinberg::kResultOk; }
  Steinberg::uint32 PLUGIN_API getLatencySamples() override { return 0; }
  Steinberg::tresult PLUGIN_API setupProcessing(Steinberg::Vst::ProcessSetup& setup) override;
  Steinberg::tresult PLUGIN_API setProcessing(Steinberg::TBool state) override;
  Steinberg::tresult PLUGIN_API process(Steinberg::Vst::ProcessData& data) override;
  Steinberg::uint32 PLUGIN_API getTailSamples() override { return 0; }

  Steinberg::tresult PLUGIN_API connect(Steinberg::Vst::IConnectionPoint* other) override;
  Steinberg::tresult PLUGIN_API disconnect(Steinberg::Vst::IConnectionPoint* other) override;
  Steinberg::tresult PLUGIN_API notify(Steinberg::Vst::IMessage*) override { return Steinberg::kResultOk; }

 private:
  // Read once: the sound must not search words.
  const Steinberg::int32 inputs_ = NumberOf("inputs", 1);
  const Steinberg::int32 outputs_ = NumberOf("outputs", 1);
  const bool processFails_ = Does("process-fails");
  const bool processThrows_ = Does("process-throws");
  const bool claimsSilence_ = Does("claims-silence");
};

}  // namespace tarnwick::test_plugin
