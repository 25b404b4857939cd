// The effect module: one loaded library, the effect class chosen from it and the instances made of that class.
// All functions: user-interface thread. No exception leaves them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/module.h"
#include "plugin/plugin_instance.h"
#include "pluginterfaces/base/ipluginbase.h"

namespace tarnwick::plugin {

class HostComponentHandler;

struct ModuleState {
  ModuleState();
  ModuleState(const ModuleState&) = delete;
  ModuleState& operator=(const ModuleState&) = delete;
  ~ModuleState();  // UnloadModule, and the component handler's release

  std::unique_ptr<platform::Module> module;
  Steinberg::IPluginFactory* factory = nullptr;
  Steinberg::TUID classId = {};
  std::wstring className;
  bool loaded = false;                                     // a class was found
  HostComponentHandler* componentHandler = nullptr;        // created with the first instance, then kept
  std::vector<std::unique_ptr<PluginInstance>> instances;  // index = instance number - 1; an entry may be empty
  // Destroys an instance's editor window; empty where there are no editor windows.
  std::function<void(void* editorWindow)> destroyEditorWindow;
};

// Loads the library at `path` and chooses its effect class; whatever was loaded before is unloaded first. False leaves
// nothing loaded; the reason goes to the debug trace.
bool LoadModule(ModuleState& state, const std::wstring& path);

// Tells whether `path` is a loadable library with an effect class; touches no loaded module. `reason` receives the
// diagnostic text on failure, `className` the name of the class on success.
bool ValidateModule(const std::wstring& path, std::wstring* reason = nullptr, std::wstring* className = nullptr);

// A new, active instance of the chosen class at `sampleRate` Hz (1.0 or less means 48000) for blocks of at most
// `maxBlock` samples (below 1 means 256); null on failure, with nothing left behind. Not yet in state.instances.
std::unique_ptr<PluginInstance> CreateInstance(ModuleState& state, double sampleRate, int32_t maxBlock);

// Tears an instance down and frees it. No ProcessBlock of it may be running or still to come.
void DestroyInstance(ModuleState& state, std::unique_ptr<PluginInstance> instance);

// Tears down every instance of the list and frees the library.
void UnloadModule(ModuleState& state);

// Sets the parameter with index 0 to `normalized`, clamped to 0..1. True exactly when the effect accepted it.
bool SetFirstParameter(PluginInstance& instance, double normalized);
// The value of the parameter with index 0, 0..1; nothing when the effect has none.
std::optional<double> FirstParameter(PluginInstance& instance);

}  // namespace tarnwick::plugin
