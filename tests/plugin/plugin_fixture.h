// Shared by the tests of the plug-in host: one module state, the diagnostic texts, and the calls a test module got.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/trace.h"
#include "plugin/instance_lifecycle.h"
#include "support/test_modules.h"

namespace tarnwick::plugin {

using tests::SetModuleWords;
using tests::TestModule;
using Calls = std::vector<std::string>;

class PluginTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::SetTraceListener([this](platform::TraceKind, std::wstring_view text) { traced.emplace_back(text); });
  }
  void TearDown() override {
    platform::SetTraceListener({});
    SetModuleWords("");
  }

  // Moves the log of `module` into `calls`, with all that follows.
  void listenTo(const platform::Module& module) {
    auto* setSink = reinterpret_cast<test_plugin::SetLogSinkFunction>(module.symbol(test_plugin::kSetLogSinkSymbol));
    ASSERT_NE(setSink, nullptr);
    setSink([](const char* line, void* to) { static_cast<Calls*>(to)->emplace_back(line); }, &calls);
  }
  // The test effect that does what the words say.
  void load(const std::string& words) {
    SetModuleWords(words);
    ASSERT_TRUE(LoadModule(state, TestModule("gain")));
    listenTo(*state.module);
  }
  // An instance of the module, in the list as the host keeps it.
  PluginInstance* addInstance(int32_t maxBlock = 64, double sampleRate = 48000.0) {
    state.instances.push_back(CreateInstance(state, sampleRate, maxBlock));
    return state.instances.back().get();
  }
  Calls takeCalls() { return std::exchange(calls, {}); }

  std::vector<std::wstring> traced;
  Calls calls;
  ModuleState state;  // last: its unloading still writes to the others
};

}  // namespace tarnwick::plugin
