// Effects that were not written here, from the package zam-plugins: what becomes of them. Their sound is heard in the
// whole program (end_to_end/effects_test.cpp).
#include "platform/paths.h"
#include "plugin_fixture.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace tarnwick::plugin {
namespace {

// ZamVerb's entry function makes a transform plan in a library of its own that never frees its tables: one leak for
// each loading, whose stack can no longer be named when the leaks are counted. What is allocated while it is being
// loaded is therefore not counted; instances are.
bool loadUncounted(ModuleState& state, const std::wstring& path) {
#if defined(__SANITIZE_ADDRESS__)
  const __lsan::ScopedDisabler uncounted;
#endif
  return LoadModule(state, path);
}

class RealEffect : public PluginTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(RealEffect, LoadsRunsAndEnds) {
  const std::wstring bundle = L"/usr/lib/vst3/" + platform::WideFromUtf8(GetParam()) + L".vst3";
  if (!platform::FolderExists(bundle)) {
    GTEST_SKIP() << "zam-plugins is not installed";
  }
  for (int round = 0; round < 2; ++round) {  // the second after an unload
    ASSERT_TRUE(loadUncounted(state, bundle));
    EXPECT_EQ(state.className, platform::WideFromUtf8(GetParam()));
    for (int k = 0; k < 4; ++k) {
      ASSERT_NE(addInstance(128), nullptr);
    }
    EXPECT_TRUE(ValidateModule(bundle));  // the loaded library, while it is in use
    ASSERT_NE(addInstance(128), nullptr);
    EXPECT_TRUE(SetFirstParameter(*state.instances.front(), 0.5));

    // These effects were built to report, for every block, that the process data has no output parameter changes.
    testing::internal::CaptureStderr();
    std::vector<float> block(128, 0.25f);
    for (int k = 0; k < 100; ++k) {
      ProcessBlock(state.instances[static_cast<size_t>(k) % 5].get(), block.data(), block.data(), 128);
    }
    testing::internal::GetCapturedStderr();
    UnloadModule(state);
  }
}

INSTANTIATE_TEST_SUITE_P(Zam, RealEffect, ::testing::Values("ZamGate", "ZamComp", "ZaMultiComp", "ZamEQ2", "ZamVerb"),
                         [](const auto& effect) { return std::string(effect.param); });

}  // namespace
}  // namespace tarnwick::plugin
