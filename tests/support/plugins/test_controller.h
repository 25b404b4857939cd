// The controller of a test effect that keeps it apart from the component.
#pragma once

#include "controller_base.h"
#include "pluginterfaces/vst/ivstmessage.h"

namespace tarnwick::test_plugin {

class TestController final : public ControllerBase<Steinberg::Vst::IEditController, Steinberg::Vst::IConnectionPoint>,
                             public Counted {
 public:
  TestController() : Counted("controller") {}

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID interfaceId, void** object) override;
  Steinberg::uint32 PLUGIN_API addRef() override { return add(); }
  Steinberg::uint32 PLUGIN_API release() override { return drop(); }

  Steinberg::tresult PLUGIN_API initialize(Steinberg::FUnknown* context) override;
  Steinberg::tresult PLUGIN_API terminate() override;

  Steinberg::tresult PLUGIN_API connect(Steinberg::Vst::IConnectionPoint* other) override;
  Steinberg::tresult PLUGIN_API disconnect(Steinberg::Vst::IConnectionPoint* other) override;
  Steinberg::tresult PLUGIN_API notify(Steinberg::Vst::IMessage*) override { return Steinberg::kResultOk; }
};

}  // namespace tarnwick::test_plugin
