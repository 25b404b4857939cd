#include "plugin/plugin_module.h"

#include <memory>
#include <utility>

#include "platform/trace.h"
#include "plugin/component_handler.h"
#include "plugin/effect_class.h"
#include "plugin/guarded_call.h"
#include "plugin/instance_lifecycle.h"
#include "plugin/trace_failure.h"

namespace tarnwick::plugin {
namespace {

using Steinberg::IPluginFactory;
using FactoryFunction = IPluginFactory*(PLUGIN_API*)();

// A failure in the words of this program, and in those of the system's loader.
struct Problem {
  std::wstring text;  // empty = none
  std::wstring loaderWords;
};

// The module's factory, to be released by the caller; null with the failure in `problem`.
IPluginFactory* factoryOf(const platform::Module& module, Problem& problem) {
  auto* getFactory = reinterpret_cast<FactoryFunction>(module.symbol("GetPluginFactory"));
  if (getFactory == nullptr) {
    problem.text = L"GetPluginFactory symbol not found.";
    return nullptr;
  }
  IPluginFactory* factory = guarded([&] { return getFactory(); }, static_cast<IPluginFactory*>(nullptr));
  if (factory == nullptr) {
    problem.text = L"GetPluginFactory returned null.";
  }
  return factory;
}

// A failure leaves in `state` what was reached by then.
Problem loadInto(ModuleState& state, const std::wstring& path) {
  Problem problem;
  state.path = path;
  state.module = platform::Module::Load(path, &problem.loaderWords);
  if (state.module == nullptr) {
    problem.text = L"LoadLibrary failed for VST3 module.";
    return problem;
  }
  state.factory = factoryOf(*state.module, problem);
  if (state.factory == nullptr) {
    return problem;
  }
  state.loaded = ChooseEffectClass(*state.factory, &state.classId, &state.className);
  if (!state.loaded) {
    problem.text = L"No VST3 audio effect class found in module.";
  }
  return problem;
}

Problem validate(const std::wstring& path, std::wstring* className) {
  Problem problem;
  const auto module = platform::Module::Load(path, &problem.loaderWords);
  if (module == nullptr) {
    problem.text = L"LoadLibrary failed.";
    return problem;
  }
  if (IPluginFactory* factory = factoryOf(*module, problem)) {
    if (!ChooseEffectClass(*factory, nullptr, className)) {
      problem.text = L"no audio effect class found.";
    }
    releaseReference(factory);
  }
  return problem;
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
    const Problem problem = loadInto(state, path);
    if (problem.text.empty()) {
      platform::Trace(L"VST3 module loaded: " + state.className);
      return true;
    }
    TraceFailure(path, problem.text, problem.loaderWords);
  } catch (...) {
    TraceFailure(path, kNoMemory);
  }
  UnloadModule(state);
  return false;
}

bool ValidateModule(const std::wstring& path, std::wstring* reason, std::wstring* className) {
  try {
    Problem problem = validate(path, className);
    if (problem.text.empty()) {
      return true;
    }
    problem.text.insert(0, L"VST3 validation failed: ");
    TraceFailure(path, problem.text, problem.loaderWords);
    if (reason != nullptr) {
      *reason = problem.loaderWords.empty() ? problem.text : problem.text + L" (" + problem.loaderWords + L")";
    }
  } catch (...) {
    TraceFailure(path, kNoMemory);
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
  state.path.clear();
  state.className.clear();
  state.loaded = false;
}

}  // namespace tarnwick::plugin
