// What a test module has been told to do, as words separated by blanks: "inputs=2 setup-fails". The list of the modules
// in tests/support/CMakeLists.txt gives every module its words.
#pragma once

#include <string_view>

namespace tarnwick::test_plugin {

// Whether the module's words contain `word`.
bool Does(std::string_view word);

// The number after `name` and '=' in the module's words, or `otherwise`.
int NumberOf(std::string_view name, int otherwise);

// For behaviours "NAME-fails" and "NAME-throws": true for the first; the second throws.
bool Fails(const char* name);

}  // namespace tarnwick::test_plugin
