#include "platform/windows/own_program.h"

#include "platform/windows/win32.h"

namespace tarnwick::platform {

std::wstring OwnExecutable() {
  constexpr size_t kLongestPath = 32768;
  std::wstring program(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    if (length < program.size()) {
      program.resize(length);
      return program;
    }
    if (program.size() >= kLongestPath) {
      return {};
    }
    program.resize(program.size() * 2);
  }
}

}  // namespace tarnwick::platform
