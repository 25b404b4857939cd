// A loaded plug-in library.
#pragma once

#include <memory>
#include <string>

namespace tarnwick::platform {

// Owns a library handle and the pairing of the library's own entry and exit functions: where the library exports them,
// its entry function (Linux "ModuleEntry", Windows "InitDll") has run before anything else of it is called, and its
// exit function runs before it is unloaded. Thread: user interface.
class Module {
 public:
  // Loads the library at `path`. Null when it cannot be loaded or its entry function refuses; `reason` then tells why
  // in the system's words. No dialogue of the system is shown.
  static std::unique_ptr<Module> Load(const std::wstring& path, std::wstring* reason = nullptr);

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module();

  // Address of an exported symbol, or null.
  void* symbol(const char* name) const;

 private:
  struct State;
  explicit Module(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

// The library file behind a plug-in path: a plain file is itself; of a bundle folder NAME.vst3 it is the library for
// this system inside it. A folder without one comes back as given.
std::wstring ResolveModuleFile(const std::wstring& path);

}  // namespace tarnwick::platform
