// What the tests of the plug-in host share: one module state, the diagnostic texts, and the calls a test module got.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/trace.h"
#include "plugin/plugin_module.h"
#include "plugins/call_log.h"

namespace tarnwick::plugin {

inline std::wstring TestModule(const std::string& name) {
  return platform::WideFromUtf8(TARNWICK_TEST_MODULES) + L"/" + platform::WideFromUtf8(name) + L".vst3";
}

class PluginTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::SetTraceSink([this](std::wstring_view text) { traced.emplace_back(text); });
  }
  void TearDown() override { platform::SetTraceSink({}); }

  // Moves the log of `module` into `calls`, with all that follows.
  void listenTo(const platform::Module& module) {
    auto* setSink = reinterpret_cast<test_plugin::SetLogSinkFunction>(module.symbol(test_plugin::kSetLogSinkSymbol));
    ASSERT_NE(setSink, nullptr);
    setSink([](const char* line, void* to) { static_cast<std::vector<std::string>*>(to)->emplace_back(line); }, &calls);
  }
  void loadAndListen(const std::string& name) {
    ASSERT_TRUE(LoadModule(state, TestModule(name)));
    listenTo(*state.module);
  }
  // An instance of the module, in the list as the host keeps it.
  PluginInstance* addInstance(int32_t maxBlock = 64, double sampleRate = 48000.0) {
    state.instances.push_back(CreateInstance(state, sampleRate, maxBlock));
    return state.instances.back().get();
  }
  std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

  std::vector<std::wstring> traced;
  std::vector<std::string> calls;
  ModuleState state;  // last: its unloading still writes to the others
};

}  // namespace tarnwick::plugin
