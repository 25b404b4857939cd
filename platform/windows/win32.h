// The Windows headers as every file here includes them. Which Windows they describe (10 and later) is set for the whole
// library.
#pragma once

#include <windows.h>

// Reads the address of a function that not every Windows has; null when it is missing.
template <class Function>
Function FunctionOf(HMODULE library, const char* name) noexcept {
  if (library == nullptr) {
    return nullptr;
  }
  // By way of void*: every two kinds of function pointer differ, and the compiler would warn.
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}
