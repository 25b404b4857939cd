// An open editor is closed before anything else of its instance is touched.
#include "plugin_fixture.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"  // the published interfaces have none

namespace tarnwick::plugin {
namespace {

using Steinberg::kNotImplemented;
using Steinberg::kResultOk;
using Steinberg::tresult;

// The counting of an object on the test's stack, which only logs.
template <typename Interface>
class Logged : public Interface {
 public:
  Logged(std::vector<std::string>& calls, std::string name) : calls_(calls), name_(std::move(name)) {}
  tresult PLUGIN_API queryInterface(const Steinberg::TUID, void**) override { return Steinberg::kNoInterface; }
  Steinberg::uint32 PLUGIN_API addRef() override { return 2; }
  Steinberg::uint32 PLUGIN_API release() override {
    log("release");
    return 0;
  }

 protected:
  void log(const std::string& call) { calls_.push_back(name_ + "." + call); }

 private:
  std::vector<std::string>& calls_;
  std::string name_;
};

class FakeView final : public Logged<Steinberg::IPlugView> {
 public:
  using Logged::Logged;
  tresult PLUGIN_API removed() override {
    log("removed");
    throw 1;  // must not keep the rest from being closed
  }
  tresult PLUGIN_API isPlatformTypeSupported(Steinberg::FIDString) override { return kNotImplemented; }
  tresult PLUGIN_API attached(void*, Steinberg::FIDString) override { return kNotImplemented; }
  tresult PLUGIN_API onWheel(float) override { return kNotImplemented; }
  tresult PLUGIN_API onKeyDown(Steinberg::char16, Steinberg::int16, Steinberg::int16) override { return kResultOk; }
  tresult PLUGIN_API onKeyUp(Steinberg::char16, Steinberg::int16, Steinberg::int16) override { return kResultOk; }
  tresult PLUGIN_API getSize(Steinberg::ViewRect*) override { return kNotImplemented; }
  tresult PLUGIN_API onSize(Steinberg::ViewRect*) override { return kNotImplemented; }
  tresult PLUGIN_API onFocus(Steinberg::TBool) override { return kNotImplemented; }
  tresult PLUGIN_API setFrame(Steinberg::IPlugFrame*) override { return kNotImplemented; }
  tresult PLUGIN_API canResize() override { return kNotImplemented; }
  tresult PLUGIN_API checkSizeConstraint(Steinberg::ViewRect*) override { return kNotImplemented; }
};

class FakeFrame final : public Logged<Steinberg::IPlugFrame> {
 public:
  using Logged::Logged;
  tresult PLUGIN_API resizeView(Steinberg::IPlugView*, Steinberg::ViewRect*) override { return kNotImplemented; }
};

TEST_F(PluginTest, TheEditorIsClosedFirst) {
  FakeView view(calls, "view");
  FakeFrame frame(calls, "frame");
  int window = 0;
  void* destroyed = nullptr;
  state.destroyEditorWindow = [&](void* which) {
    destroyed = which;
    calls.push_back("window destroyed");
  };
  loadAndListen("gain");
  auto instance = CreateInstance(state, 48000.0, 64);
  ASSERT_NE(instance, nullptr);
  instance->editorState = 2;
  instance->editorWindow = &window;
  instance->editorView = &view;
  instance->editorFrame = &frame;
  calls.clear();
  DestroyInstance(state, std::move(instance));
  EXPECT_EQ(destroyed, &window);
  ASSERT_GT(calls.size(), 5u);
  calls.resize(5);
  EXPECT_THAT(calls, ::testing::ElementsAre("window destroyed", "view.removed", "view.release", "frame.release",
                                            "processor.setProcessing false"));
}

}  // namespace
}  // namespace tarnwick::plugin
