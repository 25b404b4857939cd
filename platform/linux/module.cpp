#include "platform/module.h"

#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/text.h"

namespace tarnwick::platform {
namespace {

using EntryFunction = bool (*)(void* handle);
using ExitFunction = bool (*)();

#if defined(__x86_64__)
constexpr const char* kBundleFolder = "x86_64-linux";
#elif defined(__aarch64__)
constexpr const char* kBundleFolder = "aarch64-linux";
#else
#error "The bundle folder of this processor is not known."
#endif

// How many Modules share one system handle. Opening a library that is already open yields the same handle, and many
// effects free their one global state in the exit function without counting: validating the file of the loaded module
// must not run that function under it. Entry therefore runs for the first owner only, exit for the last.
std::map<void*, int>& owners() {
  static auto* counts = new std::map<void*, int>;  // never freed: a Module may be destroyed after the statics
  return *counts;
}

bool readAt(std::ifstream& file, uint64_t offset, void* to, size_t size) {
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(static_cast<char*>(to), static_cast<std::streamsize>(size));
  return file.good();
}

// The loader maps the segments that the headers promise and then reads them; where the file ends before, that read
// kills the process. So the promised extents are compared with the file's size first. Everything else that may be
// wrong with a file (no library at all, another processor's, missing symbols) the loader reports by itself.
bool isCutShort(const std::filesystem::path& path, uint64_t size) {
  std::ifstream file(path, std::ios::binary);
  ElfW(Ehdr) header = {};
  if (!file || !readAt(file, 0, &header, sizeof header)) {
    return true;
  }
  const unsigned char nativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
  if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != nativeClass ||
      header.e_phentsize != sizeof(ElfW(Phdr))) {
    return false;
  }
  // Nothing of the section table is loaded, but linkers put it last, so that it tells whether the end is there.
  if (header.e_shoff > size || uint64_t{header.e_shnum} * header.e_shentsize > size - header.e_shoff) {
    return true;
  }
  std::vector<ElfW(Phdr)> segments(header.e_phnum);
  if (!readAt(file, header.e_phoff, segments.data(), segments.size() * sizeof(ElfW(Phdr)))) {
    return true;
  }
  for (const ElfW(Phdr) & segment : segments) {
    if (segment.p_offset > size || segment.p_filesz > size - segment.p_offset) {
      return true;
    }
  }
  return false;
}

// Empty when the file may be given to the loader, else what is wrong with it.
std::wstring refusalOf(const std::filesystem::path& path) {
  std::error_code error;
  // Only a plain file: the loader takes an empty name for the program itself, and opening a pipe would wait for ever.
  if (path.empty() || !std::filesystem::is_regular_file(path, error)) {
    return L"There is no such file.";
  }
  const auto size = std::filesystem::file_size(path, error);
  if (error || isCutShort(path, size)) {
    return L"The file is cut short or cannot be read.";
  }
  return {};
}

std::wstring loaderError() {
  const char* text = dlerror();
  return WideFromUtf8(text != nullptr ? text : "The library cannot be loaded.");
}

// False when the library's entry function refuses or throws.
bool runEntry(void* handle) {
  auto* entry = reinterpret_cast<EntryFunction>(dlsym(handle, "ModuleEntry"));
  try {
    return entry == nullptr || entry(handle);
  } catch (...) {
    return false;
  }
}

void runExit(void* handle) {
  auto* exit = reinterpret_cast<ExitFunction>(dlsym(handle, "ModuleExit"));
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
  void* handle = nullptr;
};

Module::Module(std::unique_ptr<State> state) : state_(std::move(state)) {}

Module::~Module() {
  const auto found = owners().find(state_->handle);
  if (--found->second == 0) {
    owners().erase(found);
    runExit(state_->handle);
  }
  dlclose(state_->handle);
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
    std::error_code error;
    const auto file = std::filesystem::absolute(Utf8FromWide(ResolveModuleFile(path)), error);
    std::wstring refusal = error ? L"There is no such file." : refusalOf(file);
    if (!refusal.empty()) {
      return refuse(std::move(refusal));
    }
    auto state = std::make_unique<State>();
    state->handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (state->handle == nullptr) {
      return refuse(loaderError());
    }
    if (owners().count(state->handle) == 0 && !runEntry(state->handle)) {
      dlclose(state->handle);
      return refuse(L"The library's entry function refused.");
    }
    ++owners()[state->handle];
    return std::unique_ptr<Module>(new Module(std::move(state)));
  } catch (...) {
    return refuse(L"The library failed while it was loaded.");
  }
}

void* Module::symbol(const char* name) const {
  return dlsym(state_->handle, name);
}

std::wstring ResolveModuleFile(const std::wstring& path) {
  const std::filesystem::path given(Utf8FromWide(path));
  std::error_code error;
  // A trailing separator leaves the last component empty; the folder before it is the bundle.
  const std::filesystem::path bundle = given.has_filename() ? given : given.parent_path();
  if (bundle.extension() != ".vst3" || !std::filesystem::is_directory(bundle, error)) {
    return path;
  }
  const std::filesystem::path library = bundle / "Contents" / kBundleFolder / bundle.stem().concat(".so");
  return std::filesystem::is_regular_file(library, error) ? WideFromUtf8(library.string()) : path;
}

}  // namespace tarnwick::platform
