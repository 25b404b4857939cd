// The making and the teardown of instances: the order of the calls, and what every failure leaves behind.
#include <array>
#include <cmath>
#include <limits>

#include "plugin/component_handler.h"
#include "plugin/instance_lifecycle.h"
#include "plugin_fixture.h"

namespace tarnwick::plugin {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Calls = std::vector<std::string>;

const Calls kArranged = {"processor.setBusArrangements mono", "component.activateBus audio input 0 true",
                         "component.activateBus audio output 0 true",
                         "processor.setupProcessing mode=0 size=0 block=64 rate=44100"};
const Calls kStarted = {"component.setActive true", "processor.setProcessing true"};
const Calls kStopped = {"processor.setProcessing false", "component.setActive false"};
const Calls kMade = {"factory.create component", "component.initialize null", "component.query processor",
                     "component.getControllerClassId"};
const Calls kControllerMade = {"factory.create controller", "controller.initialize null",
                               "controller.setComponentHandler host"};
const Calls kConnected = {"component.connect", "controller.connect"};
const Calls kDisconnected = {"component.disconnect", "controller.disconnect"};
const Calls kControllerEnded = {"controller.setComponentHandler null", "controller.terminate", "controller freed"};
const Calls kComponentEnded = {"component.terminate", "component freed"};

Calls operator+(Calls a, const Calls& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(PluginTest, CallsComeInTheirOrderFromCreationToTeardown) {
  const struct {
    const char* module;
    Calls created;
    Calls destroyed;
    bool connected;
    std::vector<std::wstring> traced;
  } cases[] = {
      {"separate",
       kMade + kControllerMade + kConnected + kArranged + kStarted,
       kStopped + kDisconnected + kControllerEnded + kComponentEnded,
       true,
       {}},
      // One object that is both: nothing to connect, and terminated once.
      {"gain",
       kMade + Calls{"controller.setComponentHandler host"} + kArranged + kStarted,
       kStopped + Calls{"controller.setComponentHandler null"} + kComponentEnded,
       false,
       {}},
      // Names a controller class that its factory cannot make, and is asked itself.
      {"controller_absent",
       kMade + Calls{"factory.create controller", "controller.setComponentHandler host"} + kArranged + kStarted,
       kStopped + Calls{"controller.setComponentHandler null"} + kComponentEnded,
       false,
       {}},
      {"component_unconnectable",
       kMade + kControllerMade + kArranged + kStarted,
       kStopped + kControllerEnded + kComponentEnded,
       false,
       {L"VST3 IConnectionPoint unavailable; editor may not initialize."}},
      {"controller_unconnectable",
       kMade + kControllerMade + kArranged + kStarted,
       kStopped + kControllerEnded + kComponentEnded,
       false,
       {L"VST3 IConnectionPoint unavailable; editor may not initialize."}},
      // Results that are not looked at, and the same calls throwing.
      {"unwilling",
       kMade + kControllerMade + kConnected + kArranged + kStarted,
       kStopped + kDisconnected + kControllerEnded + kComponentEnded,
       true,
       {}},
      {"throws_throughout",
       kMade + kControllerMade + kConnected + kArranged + kStarted,
       kStopped + kDisconnected + kControllerEnded + kComponentEnded,
       true,
       {}},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.module);
    loadAndListen(one.module);
    calls.clear();
    traced.clear();
    auto instance = CreateInstance(state, 44100.0, 64);
    ASSERT_NE(instance, nullptr);
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.created));
    EXPECT_EQ(instance->connected, one.connected);
    EXPECT_THAT(traced, ElementsAreArray(one.traced));
    DestroyInstance(state, std::move(instance));
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.destroyed));
    UnloadModule(state);
    EXPECT_THAT(takeCalls(), ElementsAre("factory freed", "ModuleExit with 0 objects"));
  }
}

TEST_F(PluginTest, AFailedCreationIsUndoneInTheOrderOfTheTeardown) {
  const Calls begun = {"factory.create component", "component.initialize null"};
  const Calls componentOnly = Calls{"component.setActive false"} + kComponentEnded;
  const Calls refused =
      kMade + kControllerMade + kConnected + kDisconnected + kStopped + kControllerEnded + kComponentEnded;
  const struct {
    const char* module;
    std::vector<std::wstring> traced;
    Calls calls;
  } cases[] = {
      {"create_fails", {L"Failed to create VST3 component."}, {"factory.create component"}},
      {"create_throws", {L"Failed to create VST3 component."}, {"factory.create component"}},
      {"create_null", {L"Failed to create VST3 component."}, {"factory.create component"}},
      {"initialize_fails", {L"VST3 component initialize failed."}, begun + componentOnly},
      {"initialize_throws", {L"VST3 component initialize failed."}, begun + componentOnly},
      {"no_processor",
       {L"VST3 processor interface unavailable."},
       begun + Calls{"component.query processor"} + componentOnly},
      {"no_controller", {}, kMade + kStopped + kComponentEnded},
      {"component_refuses", {L"VST3 component/controller connect failed."}, refused},
      {"controller_refuses", {L"VST3 component/controller connect failed."}, refused},
      {"connect_throws", {L"VST3 component/controller connect failed."}, refused},
      {"setup_fails",
       {L"VST3 setupProcessing failed."},
       kMade + kControllerMade + kConnected + kArranged + kStopped + kDisconnected + kControllerEnded +
           kComponentEnded},
      {"setup_throws",
       {L"VST3 setupProcessing failed."},
       kMade + Calls{"controller.setComponentHandler host"} + kArranged + kStopped +
           Calls{"controller.setComponentHandler null"} + kComponentEnded},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.module);
    loadAndListen(one.module);
    calls.clear();
    traced.clear();
    EXPECT_EQ(CreateInstance(state, 44100.0, 64), nullptr);
    EXPECT_THAT(traced, ElementsAreArray(one.traced));
    EXPECT_THAT(takeCalls(), ElementsAreArray(one.calls));
    EXPECT_TRUE(state.loaded);  // the module itself stays
    UnloadModule(state);
    EXPECT_THAT(takeCalls(), ElementsAre("factory freed", "ModuleExit with 0 objects"));
  }
}

TEST_F(PluginTest, RateAndBlockLengthHaveFallbacks) {
  const struct {
    double rate;
    int32_t maxBlock;
    const char* setup;
    size_t samples;
  } cases[] = {
      {96000.0, 512, "processor.setupProcessing mode=0 size=0 block=512 rate=96000", 512},
      {1.5, 1, "processor.setupProcessing mode=0 size=0 block=1 rate=1.5", 1},
      {1.0, 0, "processor.setupProcessing mode=0 size=0 block=256 rate=48000", 256},
      {-44100.0, -1, "processor.setupProcessing mode=0 size=0 block=256 rate=48000", 256},
      {std::nan(""), std::numeric_limits<int32_t>::min(),
       "processor.setupProcessing mode=0 size=0 block=256 rate=48000", 256},
  };
  loadAndListen("gain");
  for (const auto& one : cases) {
    calls.clear();
    const PluginInstance* instance = addInstance(one.maxBlock, one.rate);
    ASSERT_NE(instance, nullptr);
    EXPECT_THAT(calls, ::testing::Contains(one.setup));
    EXPECT_EQ(instance->inputBuffer, std::vector<float>(one.samples, 0.0f));
    EXPECT_EQ(instance->outputBuffer, std::vector<float>(one.samples, 0.0f));
  }
}

TEST_F(PluginTest, ProcessDataSendsNothingButSound) {
  loadAndListen("gain");
  const PluginInstance& instance = *addInstance();
  const auto& data = instance.processData;
  EXPECT_EQ(data.processMode, Steinberg::Vst::kRealtime);
  EXPECT_EQ(data.symbolicSampleSize, Steinberg::Vst::kSample32);
  EXPECT_EQ(data.numInputs, 1);
  EXPECT_EQ(data.numOutputs, 1);
  EXPECT_EQ(data.inputs, &instance.inputBus);
  EXPECT_EQ(data.outputs, &instance.outputBus);
  EXPECT_TRUE(data.inputParameterChanges == nullptr && data.outputParameterChanges == nullptr);
  EXPECT_TRUE(data.inputEvents == nullptr && data.outputEvents == nullptr && data.processContext == nullptr);
}

TEST_F(PluginTest, ListsAreFreedWithoutASecondTeardown) {
  loadAndListen("separate");
  TearDownInstance(state, *addInstance());
  TearDownInstance(state, *addInstance());
  calls.clear();
  TearDownInstance(state, *state.instances[0]);
  FreeInstances(state);
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_THAT(state.instances, IsEmpty());
  DestroyInstance(state, nullptr);
}

TEST_F(PluginTest, OneComponentHandlerServesEveryInstance) {
  loadAndListen("gain");
  EXPECT_EQ(state.componentHandler, nullptr);
  addInstance();
  auto* const handler = state.componentHandler;
  ASSERT_NE(handler, nullptr);
  addInstance();
  ASSERT_TRUE(LoadModule(state, TestModule("separate")));
  addInstance();
  EXPECT_EQ(state.componentHandler, handler);

  void* object = nullptr;
  EXPECT_EQ(handler->queryInterface(Steinberg::Vst::IComponentHandler::iid, &object), Steinberg::kResultOk);
  EXPECT_EQ(object, handler);
  EXPECT_EQ(handler->queryInterface(Steinberg::Vst::IComponent::iid, &object), Steinberg::kNoInterface);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(handler->addRef(), 3u);
  EXPECT_EQ(handler->release(), 2u);
  EXPECT_EQ(handler->release(), 1u);  // what the host holds
  EXPECT_EQ(handler->beginEdit(0), Steinberg::kResultOk);
  EXPECT_EQ(handler->performEdit(0, 0.5), Steinberg::kResultOk);
  EXPECT_EQ(handler->endEdit(0), Steinberg::kResultOk);
  EXPECT_EQ(handler->restartComponent(-1), Steinberg::kResultOk);
}

}  // namespace
}  // namespace tarnwick::plugin
