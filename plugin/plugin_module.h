// The effect module: one loaded library, the effect class chosen from it and the instances made of that class.
// All functions: user-interface thread. No exception leaves them.
#pragma once

#include <functional>
#include <memory>
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
  std::wstring path;  // as given to LoadModule
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
// nothing loaded; the reason goes to the trace, with the path and the loader's own words.
bool LoadModule(ModuleState& state, const std::wstring& path);

// Tells whether `path` is a loadable library with an effect class; touches no loaded module. `reason` receives the
// text of a failure with the loader's own words, `className` the name of the class on success.
bool ValidateModule(const std::wstring& path, std::wstring* reason = nullptr, std::wstring* className = nullptr);

// Tears down every instance of the list and frees the library.
void UnloadModule(ModuleState& state);

}  // namespace tarnwick::plugin
