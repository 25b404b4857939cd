#include "plugin/plugin_module.h"

#include <utility>

#include "platform/trace.h"
#include "plugin/component_handler.h"
#include "plugin/effect_class.h"
#include "plugin/guarded_call.h"
#include "plugin/instance_lifecycle.h"

namespace tarnwick::plugin {
namespace {

using Steinberg::IPluginFactory;
using FactoryFunction = IPluginFactory*(PLUGIN_API*)();

constexpr const wchar_t* kNoSymbol = L"GetPluginFactory symbol not found.";
constexpr const wchar_t* kNoFactory = L"GetPluginFactory returned null.";

// The module's factory, to be released by the caller; null with the text of the failure in `problem`.
IPluginFactory* factoryOf(const platform::Module& module, const wchar_t*& problem) {
  auto* getFactory = reinterpret_cast<FactoryFunction>(module.symbol("GetPluginFactory"));
  if (getFactory == nullptr) {
    problem = kNoSymbol;
    return nullptr;
  }
  IPluginFactory* factory = guarded([&] { return getFactory(); }, static_cast<IPluginFactory*>(nullptr));
  problem = kNoFactory;
  return factory;
}

// Null when a class was found, else the text of the failure; what was reached by then stays in `state`.
const wchar_t* loadInto(ModuleState& state, const std::wstring& path) {
  state.module = platform::Module::Load(path);
  if (state.module == nullptr) {
    return L"LoadLibrary failed for VST3 module.";
  }
  const wchar_t* problem = nullptr;
  state.factory = factoryOf(*state.module, problem);
  if (state.factory == nullptr) {
    return problem;
  }
  state.loaded = ChooseEffectClass(*state.factory, &state.classId, &state.className);
  return state.loaded ? nullptr : L"No VST3 audio effect class found in module.";
}

// Empty when the file is usable, else the text of the failure.
std::wstring validate(const std::wstring& path, std::wstring* className) {
  const std::wstring prefix = L"VST3 validation failed: ";
  const auto module = platform::Module::Load(path);
  if (module == nullptr) {
    return prefix + L"LoadLibrary failed.";
  }
  const wchar_t* problem = nullptr;
  IPluginFactory* factory = factoryOf(*module, problem);
  if (factory == nullptr) {
    return prefix + problem;
  }
  const bool found = ChooseEffectClass(*factory, nullptr, className);
  releaseReference(factory);
  return found ? std::wstring() : prefix + L"no audio effect class found.";
}

}  // namespace

ModuleState::ModuleState() = default;

ModuleState::~ModuleState() {
  UnloadModule(*this);
  releaseReference(componentHandler);
}

bool LoadModule(ModuleState& state, const std::wstring& path) {
  UnloadModule(state);
  try {
    const wchar_t* problem = loadInto(state, path);
    if (problem == nullptr) {
      platform::Trace(L"VST3 module loaded: " + state.className);
      return true;
    }
    platform::Trace(problem);
  } catch (...) {
    // Out of memory: nothing is kept.
  }
  UnloadModule(state);
  return false;
}

bool ValidateModule(const std::wstring& path, std::wstring* reason, std::wstring* className) {
  try {
    std::wstring problem = validate(path, className);
    if (problem.empty()) {
      return true;
    }
    platform::Trace(problem);
    if (reason != nullptr) {
      *reason = std::move(problem);
    }
  } catch (...) {
    // Out of memory: not usable now.
  }
  return false;
}

void UnloadModule(ModuleState& state) {
  for (auto& instance : state.instances) {
    DestroyInstance(state, std::move(instance));
  }
  state.instances.clear();
  releaseReference(state.factory);
  state.module.reset();
  state.className.clear();
  state.loaded = false;
}

}  // namespace tarnwick::plugin
