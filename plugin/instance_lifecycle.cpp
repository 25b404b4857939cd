#include "plugin/instance_lifecycle.h"

#include <utility>

#include "plugin/audio_buses.h"
#include "plugin/component_handler.h"
#include "plugin/connection.h"
#include "plugin/guarded_call.h"
#include "plugin/trace_failure.h"

namespace tarnwick::plugin {
namespace {

namespace Vst = Steinberg::Vst;
using Steinberg::int32;
using Steinberg::kResultOk;
using Steinberg::TUID;

constexpr int32 kDefaultMaxBlock = 256;
constexpr double kDefaultSampleRate = 48000.0;

template <typename Interface>
Interface* createObject(Steinberg::IPluginFactory& factory, const TUID classId) {
  void* object = nullptr;
  const TUID& interfaceId = Interface::iid;
  const bool created = guarded([&] { return factory.createInstance(classId, interfaceId, &object); }) == kResultOk;
  return created ? static_cast<Interface*>(object) : nullptr;
}

bool isSameObject(Steinberg::FUnknown* a, Steinberg::FUnknown* b) {
  auto* identityA = queryFor<Steinberg::FUnknown>(a);
  auto* identityB = queryFor<Steinberg::FUnknown>(b);
  const bool same = identityA != nullptr && identityA == identityB;
  releaseReference(identityA);
  releaseReference(identityB);
  return same;
}

void findController(Steinberg::IPluginFactory& factory, PluginInstance& instance) {
  alignas(8) TUID classId = {};
  if (guarded([&] { return instance.component->getControllerClassId(classId); }) == kResultOk) {
    instance.controller = createObject<Vst::IEditController>(factory, classId);
    if (instance.controller != nullptr) {
      guarded([&] { return instance.controller->initialize(nullptr); });
      instance.controllerIsComponent = isSameObject(instance.component, instance.controller);
    }
  }
  if (instance.controller == nullptr) {
    // Asked for at the component, it is a part of the component even where an effect hands out an object with an
    // identity of its own: it was never initialized by itself.
    instance.controller = queryFor<Vst::IEditController>(instance.component);
    instance.controllerIsComponent = instance.controller != nullptr;
  }
}

Vst::ProcessSetup processSetupFor(double sampleRate, int32 maxBlock) {
  Vst::ProcessSetup setup = {};
  setup.processMode = Vst::kRealtime;
  setup.symbolicSampleSize = Vst::kSample32;
  setup.maxSamplesPerBlock = maxBlock >= 1 ? maxBlock : kDefaultMaxBlock;
  setup.sampleRate = sampleRate > 1.0 ? sampleRate : kDefaultSampleRate;
  return setup;
}

// Brings the instance's component and controller to life. False on failure, with a half-built instance to tear down.
bool buildObjects(ModuleState& state, PluginInstance& instance) {
  instance.component = createObject<Vst::IComponent>(*state.factory, state.classId);
  if (instance.component == nullptr) {
    TraceFailure(state.path, L"Failed to create VST3 component.");
    return false;
  }
  if (guarded([&] { return instance.component->initialize(nullptr); }) != kResultOk) {
    TraceFailure(state.path, L"VST3 component initialize failed.");
    return false;
  }
  instance.processor = queryFor<Vst::IAudioProcessor>(instance.component);
  if (instance.processor == nullptr) {
    TraceFailure(state.path, L"VST3 processor interface unavailable.");
    return false;
  }
  findController(*state.factory, instance);
  if (instance.controller != nullptr) {
    guarded([&] { return instance.controller->setComponentHandler(state.componentHandler); });
  }
  if (instance.controller == nullptr) {
    TraceFailure(state.path, L"VST3 controller unavailable.");
    return false;
  }
  return ConnectController(instance, state.path);
}

bool startProcessing(const ModuleState& state, PluginInstance& instance, double sampleRate, int32 maxBlock) {
  const BusWidths widths = ArrangeAudioBuses(instance);
  Vst::ProcessSetup setup = processSetupFor(sampleRate, maxBlock);
  const int32 blockLength = setup.maxSamplesPerBlock;
  if (guarded([&] { return instance.processor->setupProcessing(setup); }) != kResultOk) {
    TraceFailure(state.path, L"VST3 setupProcessing failed.");
    return false;
  }
  guarded([&] { return instance.component->setActive(true); });
  guarded([&] { return instance.processor->setProcessing(true); });
  WireAudioBuses(instance, widths, blockLength);
  return true;
}

void closeEditor(ModuleState& state, PluginInstance& instance) {
  instance.editorState = 0;
  if (void* window = std::exchange(instance.editorWindow, nullptr); window != nullptr && state.destroyEditorWindow) {
    guarded([&] {
      state.destroyEditorWindow(window);
      return kResultOk;
    });
  }
  if (instance.editorView != nullptr) {
    guarded([&] { return instance.editorView->removed(); });
    releaseReference(instance.editorView);
  }
  releaseReference(instance.editorFrame);
}

// Closes the editor, stops processing, disconnects, ends and releases the instance's objects, in this order. An
// instance that is half made lacks some of them.
void tearDown(ModuleState& state, PluginInstance& instance) {
  closeEditor(state, instance);
  if (instance.processor != nullptr) {
    guarded([&] { return instance.processor->setProcessing(false); });
  }
  if (instance.component != nullptr) {
    guarded([&] { return instance.component->setActive(false); });
  }
  DisconnectController(instance);
  if (instance.controller != nullptr) {
    guarded([&] { return instance.controller->setComponentHandler(nullptr); });
    // One object that is both halves is terminated once, as the component below: effects exist that free their state
    // in terminate and do not survive a second one.
    if (!instance.controllerIsComponent) {
      guarded([&] { return instance.controller->terminate(); });
    }
    releaseReference(instance.controller);
    instance.controllerIsComponent = false;
  }
  releaseReference(instance.processor);
  if (instance.component != nullptr) {
    guarded([&] { return instance.component->terminate(); });
    releaseReference(instance.component);
  }
}

}  // namespace

std::unique_ptr<PluginInstance> CreateInstance(ModuleState& state, double sampleRate, int32_t maxBlock) {
  if (!state.loaded || state.factory == nullptr) {
    return nullptr;
  }
  std::unique_ptr<PluginInstance> instance;
  try {
    if (state.componentHandler == nullptr) {
      state.componentHandler = new HostComponentHandler;
    }
    instance = std::make_unique<PluginInstance>();
    if (buildObjects(state, *instance) && startProcessing(state, *instance, sampleRate, maxBlock)) {
      return instance;
    }
  } catch (...) {
    TraceFailure(state.path, kNoMemory);  // taken apart like any other failure
  }
  DestroyInstance(state, std::move(instance));
  return nullptr;
}

void DestroyInstance(ModuleState& state, std::unique_ptr<PluginInstance> instance) {
  if (instance != nullptr) {
    tearDown(state, *instance);
  }
}

}  // namespace tarnwick::plugin
