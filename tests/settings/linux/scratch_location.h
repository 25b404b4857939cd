// A place for settings that a test has for itself; it is removed with all its contents.
#pragma once

#include <string>

#include "platform/temporary_folder.h"

namespace tarnwick::settings {

class ScratchLocation {
 public:
  std::wstring location() const { return folder_.wide("settings"); }
  std::string file() const { return folder_.name("settings"); }
  std::wstring unusable() const { return L"/dev/null/settings"; }

 private:
  platform::TemporaryFolder folder_;
};

}  // namespace tarnwick::settings
