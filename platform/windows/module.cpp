#include "platform/module.h"

#include <map>
#include <string>
#include <utility>

#include "platform/paths.h"
#include "platform/text.h"
#include "platform/windows/error_text.h"
#include "platform/windows/long_path.h"
#include "platform/windows/win32.h"

namespace tarnwick::platform {
namespace {

using EntryFunction = bool(WINAPI*)();
using ExitFunction = bool(WINAPI*)();

constexpr wchar_t kBundleExtension[] = L".vst3";
constexpr wchar_t kLibraryFolder[] = L"Contents\\x86_64-win";
constexpr wchar_t kSeparators[] = L"\\/";

// How many Modules share one system handle. Loading a library that is already loaded yields the same handle, and many
// effects free their one global state in the exit function without counting: validating the file of the loaded module
// must not run that function under it. Entry therefore runs for the first owner only, exit for the last.
std::map<HMODULE, int>& owners() {
  static auto* counts = new std::map<HMODULE, int>;  // never freed: a Module may be destroyed after the statics
  return *counts;
}

// While one lives, the system shows no box about a file that cannot be opened or loaded: nobody may sit before the
// screen, and the box would hold up the user-interface thread.
class QuietErrors {
 public:
  QuietErrors() noexcept
      : changed_(SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before_) != 0) {}
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
  ~QuietErrors() {
    if (changed_) {
      SetThreadErrorMode(before_, nullptr);
    }
  }

 private:
  DWORD before_ = 0;
  bool changed_;
};

// Of a path without trailing separators: what follows the last one.
std::wstring lastName(const std::wstring& path) {
  const size_t at = path.find_last_of(kSeparators);
  return at == std::wstring::npos ? path : path.substr(at + 1);
}

// Null with `code` set when the system does not load the file.
HMODULE loadFile(std::wstring file, DWORD& code) {
  if (lastName(file).find(L'.') == std::wstring::npos) {
    file += L'.';  // or the system would look for the name with ".dll" added
  }
  const QuietErrors quiet;
  const HMODULE handle = LoadLibraryW(ExtendedPath(file).c_str());
  code = GetLastError();
  return handle;
}

// False when the library's entry function refuses or throws.
bool runEntry(HMODULE handle) {
  const auto entry = FunctionOf<EntryFunction>(handle, "InitDll");
  try {
    return entry == nullptr || entry();
  } catch (...) {
    return false;
  }
}

void runExit(HMODULE handle) {
  const auto exit = FunctionOf<ExitFunction>(handle, "ExitDll");
  try {
    if (exit != nullptr) {
      exit();
    }
  } catch (...) {
    // It is unloaded all the same.
  }
}

}  // namespace

struct Module::State {
  HMODULE handle = nullptr;
};

Module::Module(std::unique_ptr<State> state) : state_(std::move(state)) {}

Module::~Module() {
  const auto found = owners().find(state_->handle);
  if (--found->second == 0) {
    owners().erase(found);
    runExit(state_->handle);
  }
  FreeLibrary(state_->handle);
}

std::unique_ptr<Module> Module::Load(const std::wstring& path, std::wstring* reason) {
  const auto refuse = [reason](std::wstring text) {
    if (reason != nullptr) {
      *reason = std::move(text);
    }
    return std::unique_ptr<Module>();
  };
  try {
    // Absolute, because the loader would look for a bare name in the system's library folders.
    const std::wstring file = AbsolutePath(ResolveModuleFile(path));
    if (file.empty() || !FileExists(file)) {
      return refuse(L"There is no such file.");
    }
    auto state = std::make_unique<State>();
    DWORD code = 0;
    state->handle = loadFile(file, code);
    if (state->handle == nullptr) {
      return refuse(SystemErrorText(code, file));
    }
    if (owners().count(state->handle) == 0 && !runEntry(state->handle)) {
      FreeLibrary(state->handle);
      return refuse(L"The library's entry function refused.");
    }
    ++owners()[state->handle];
    return std::unique_ptr<Module>(new Module(std::move(state)));
  } catch (...) {
    return refuse(L"The library failed while it was loaded.");
  }
}

void* Module::symbol(const char* name) const {
  return FunctionOf<void*>(state_->handle, name);
}

std::wstring ResolveModuleFile(const std::wstring& path) {
  const std::wstring bundle = path.substr(0, path.find_last_not_of(kSeparators) + 1);
  const std::wstring name = lastName(bundle);
  const size_t dot = name.rfind(L'.');
  if (dot == std::wstring::npos || !EqualIgnoringCase(name.substr(dot), kBundleExtension) || !FolderExists(bundle)) {
    return path;
  }
  std::wstring library = JoinPath(JoinPath(bundle, kLibraryFolder), name.substr(0, dot) + kBundleExtension);
  return FileExists(library) ? library : path;
}

}  // namespace tarnwick::platform
