// A test module's behaviour and its reports. Its words, separated by blanks ("inputs=2 setup-fails"), say what it does:
// those that it was built with and those that the environment variable below had when it was loaded.
#pragma once

#include <string>

namespace tarnwick::test_plugin {

constexpr const char* kWordsVariable = "TARNWICK_TEST_MODULE_WORDS";

// The calls that the module has received. A test fetches the function exported under this name and gives it a sink,
// which gets all lines so far and those to come, also while the module is being unloaded.
using LogSink = void (*)(const char* line, void* context);
using SetLogSinkFunction = void (*)(LogSink sink, void* context);
constexpr const char* kSetLogSinkSymbol = "TestModuleSetLogSink";

// Inside the module.

void Log(const std::string& line);

// Objects of the module that are alive: what an exact teardown leaves at 0.
extern int liveObjects;

bool Does(const std::string& word);
// The number after `name` and '='.
int NumberOf(const std::string& name, int otherwise);
// For words "NAME-fails" and "NAME-throws": true for the first; the second throws.
bool Fails(const std::string& name);

}  // namespace tarnwick::test_plugin
