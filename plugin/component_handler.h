// The host's answer to what an effect's controller reports.
#pragma once

#include <atomic>

#include "pluginterfaces/vst/ivsteditcontroller.h"

namespace tarnwick::plugin {

// One object for every instance's controller. Accepts all reports and does nothing with them: values are set by the
// host, and the editor shows its own. Counted from 1 and freed with the last reference; an effect may keep one and may
// call from any of its threads.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"  // the published interfaces have none; release() frees
class HostComponentHandler final : public Steinberg::Vst::IComponentHandler {
 public:
  HostComponentHandler() = default;
  HostComponentHandler(const HostComponentHandler&) = delete;
  HostComponentHandler& operator=(const HostComponentHandler&) = delete;

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID interfaceId, void** object) override;
  Steinberg::uint32 PLUGIN_API addRef() override;
  Steinberg::uint32 PLUGIN_API release() override;

  Steinberg::tresult PLUGIN_API beginEdit(Steinberg::Vst::ParamID id) override;
  Steinberg::tresult PLUGIN_API performEdit(Steinberg::Vst::ParamID id, Steinberg::Vst::ParamValue normalized) override;
  Steinberg::tresult PLUGIN_API endEdit(Steinberg::Vst::ParamID id) override;
  Steinberg::tresult PLUGIN_API restartComponent(Steinberg::int32 flags) override;

 private:
  virtual ~HostComponentHandler() = default;  // by release() only

  std::atomic<Steinberg::uint32> references_{1};
};
#pragma GCC diagnostic pop

}  // namespace tarnwick::plugin
