// The modules that the tests load, by their names (CMakeLists.txt).
#pragma once

#include <cstdlib>
#include <string>

#include "plugins/test_module.h"

namespace tarnwick::tests {

inline std::wstring TestModule(const std::string& name) {
  const std::string path = std::string(TARNWICK_TEST_MODULES) + "/" + name + ".vst3";
  return {path.begin(), path.end()};
}

// Further behaviour of modules that are loaded from now on (plugins/test_module.h).
inline void SetModuleWords(const std::string& words) {
#ifdef _WIN32
  _putenv_s(test_plugin::kWordsVariable, words.c_str());
#else
  setenv(test_plugin::kWordsVariable, words.c_str(), 1);
#endif
}

}  // namespace tarnwick::tests
