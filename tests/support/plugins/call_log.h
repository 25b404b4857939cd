// The calls that a test module has received, in their order. A test fetches the function exported under the name below
// and gives it a sink, which gets the lines so far and those to come, also while the module is being unloaded.
#pragma once

#include <string>

namespace tarnwick::test_plugin {

using LogSink = void (*)(const char* line, void* context);
// Hands all lines so far, and every later one, to `sink`; a null sink stops that.
using SetLogSinkFunction = void (*)(LogSink sink, void* context);
constexpr const char* kSetLogSinkSymbol = "TestModuleSetLogSink";

// Objects of the module that are alive: what an exact teardown leaves at 0.
extern int liveObjects;

void Log(const std::string& line);

}  // namespace tarnwick::test_plugin
