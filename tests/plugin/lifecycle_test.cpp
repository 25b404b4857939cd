// The making and the teardown of instances: the order of the calls, and what every failure leaves behind.
#include <cmath>

#include "plugin_fixture.h"

namespace tarnwick::plugin {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

const Calls kArranged = {"processor.setBusArrangements mono", "component.activateBus audio input 0 true",
                         "component.activateBus audio output 0 true",
                         "processor.setupProcessing mode=0 size=0 block=64 rate=44100"};
const Calls kStarted = {"component.setActive true", "processor.setProcessing true"};
const Calls kStopped = {"processor.setProcessing false", "component.setActive false"};
const Calls kBegun = {"factory.create component", "component.initialize null"};
const Calls kMade = {"factory.create component", "component.initialize null", "component.query processor",
                     "component.getControllerClassId"};
const Calls kControllerMade = {"factory.create controller", "controller.initialize null",
                               "controller.setComponentHandler host"};
const Calls kHandlerSet = {"controller.setComponentHandler host"};
const Calls kHandlerTaken = {"controller.setComponentHandler null"};
const Calls kConnected = {"component.connect", "controller.connect"};
const Calls kDisconnected = {"component.disconnect", "controller.disconnect"};
const Calls kControllerEnded = {"controller.setComponentHandler null", "controller.terminate", "controller freed"};
const Calls kComponentEnded = {"component.terminate", "component freed"};

Calls operator+(Calls a, const Calls& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(PluginTest, CallsComeInTheirOrderFromCreationToTeardown) {
  const Calls apart = kMade + kControllerMade + kConnected + kArranged + kStarted;
  const Calls apartEnded = kStopped + kDisconnected + kControllerEnded + kComponentEnded;
  const Calls oneEnded = kStopped + kHandlerTaken + kComponentEnded;
  const struct {
    const char* words;
    Calls created;
    Calls destroyed;
  } cases[] = {
      {"separate-controller", apart, apartEnded},
      // One object that is both: nothing to connect, and terminated once.
      {"", kMade + kHandlerSet + kArranged + kStarted, oneEnded},
      // Names a controller class that its factory cannot make, and is asked itself.
      {"names-absent-controller", kMade + Calls{"factory.create controller"} + kHandlerSet + kArranged + kStarted,
       oneEnded},
      {"separate-controller component-unconnectable", kMade + kControllerMade + kArranged + kStarted,
       kStopped + kControllerEnded + kComponentEnded},
      {"separate-controller controller-unconnectable", kMade + kControllerMade + kArranged + kStarted,
       kStopped + kControllerEnded + kComponentEnded},
      // Whose result is not looked at.
      {"separate-controller activate-bus-throws set-active-throws set-processing-throws "
       "controller-initialize-throws component-terminate-throws controller-terminate-throws",
       apart, apartEnded},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.words);
    load(one.words);
    calls.clear();
    traced.clear();
    auto instance = CreateInstance(state, 44100.0, 64);
    ASSERT_NE(instance, nullptr);
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.created));
    const bool unconnectable = std::string(one.words).find("unconnectable") != std::string::npos;
    EXPECT_EQ(traced.size(), unconnectable ? 1u : 0u);
    DestroyInstance(state, std::move(instance));
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.destroyed));
    UnloadModule(state);
    EXPECT_THAT(takeCalls(), ElementsAre("factory freed", "ModuleExit with 0 objects"));
  }
}

TEST_F(PluginTest, AFailedCreationIsUndoneInTheOrderOfTheTeardown) {
  const Calls componentOnly = Calls{"component.setActive false"} + kComponentEnded;
  const Calls refused =
      kMade + kControllerMade + kConnected + kDisconnected + kStopped + kControllerEnded + kComponentEnded;
  const std::wstring create = L"Failed to create VST3 component.";
  const std::wstring connect = L"VST3 component/controller connect failed.";
  const struct {
    const char* words;
    std::wstring traced;
    Calls calls;
  } cases[] = {
      {"create-throws", create, {"factory.create component"}},
      {"create-yields-null", create, {"factory.create component"}},
      {"component-initialize-fails", L"VST3 component initialize failed.", kBegun + componentOnly},
      {"processor-fails", L"VST3 processor interface unavailable.",
       kBegun + Calls{"component.query processor"} + componentOnly},
      {"no-controller", L"VST3 controller unavailable.", kMade + kStopped + kComponentEnded},
      {"separate-controller component-connect-throws", connect, refused},
      {"separate-controller controller-connect-fails", connect, refused},
      {"setup-throws component-terminate-throws", L"VST3 setupProcessing failed.",
       kMade + kHandlerSet + kArranged + kStopped + kHandlerTaken + kComponentEnded},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.words);
    load(one.words);
    calls.clear();
    traced.clear();
    EXPECT_EQ(CreateInstance(state, 44100.0, 64), nullptr);
    EXPECT_THAT(traced, ElementsAre(TestModule("gain") + L": " + one.traced));
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.calls));
    EXPECT_TRUE(state.loaded);  // the module itself stays
    UnloadModule(state);
    EXPECT_THAT(takeCalls(), ElementsAre("factory freed", "ModuleExit with 0 objects"));
  }
}

TEST_F(PluginTest, RateAndBlockLengthHaveFallbacks) {
  load("");
  for (const auto& [rate, maxBlock] : {std::pair(1.0, 0), {-44100.0, -1}, {std::nan(""), INT32_MIN}}) {
    calls.clear();
    const PluginInstance* instance = addInstance(maxBlock, rate);
    ASSERT_NE(instance, nullptr);
    EXPECT_THAT(calls, ::testing::Contains("processor.setupProcessing mode=0 size=0 block=256 rate=48000"));
    EXPECT_EQ(instance->inputBuffer, std::vector<float>(256, 0.0f));
    EXPECT_EQ(instance->outputBuffer, std::vector<float>(256, 0.0f));
  }
}

TEST_F(PluginTest, TheEditorsWindowIsClosedFirst) {
  load("");
  auto instance = CreateInstance(state, 48000.0, 64);
  instance->editorWindow = this;
  state.destroyEditorWindow = [this](void* window) {
    EXPECT_EQ(window, this);
    calls.push_back("window destroyed");
    throw 1;  // must not keep the rest from being closed
  };
  calls.clear();
  DestroyInstance(state, std::move(instance));
  EXPECT_THAT(calls, ElementsAreArray(Calls{"window destroyed"} + kStopped + kHandlerTaken + kComponentEnded));
}

}  // namespace
}  // namespace tarnwick::plugin
