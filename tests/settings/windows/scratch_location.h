// A place for settings that a test has for itself; it is removed with all its contents.
#pragma once

#include <windows.h>

#include <string>

namespace tarnwick::settings {

class ScratchLocation {
 public:
  ScratchLocation() = default;
  ScratchLocation(const ScratchLocation&) = delete;
  ScratchLocation& operator=(const ScratchLocation&) = delete;
  ~ScratchLocation() { RegDeleteTreeW(HKEY_CURRENT_USER, key_.c_str()); }

  std::wstring location() const { return key_; }
  std::wstring unusable() const { return std::wstring(300, L'k'); }  // a key's name has at most 255 characters

 private:
  std::wstring key_ = L"Software\\TarnwickTest" + std::to_wstring(GetCurrentProcessId());
};

}  // namespace tarnwick::settings
