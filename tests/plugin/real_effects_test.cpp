// Effects that were not written here, from the package zam-plugins.
#include <algorithm>
#include <cmath>
#include <random>

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

    std::mt19937 random(11);
    std::uniform_real_distribution<float> level(-0.5f, 0.5f);
    std::vector<float> in(128);
    std::vector<float> out(128);
    std::vector<double> energies(state.instances.size(), 0.0);
    // These effects were built to report, for every block, that the process data has no output parameter changes.
    testing::internal::CaptureStderr();
    for (int block = 0; block < 200; ++block) {
      std::generate(in.begin(), in.end(), [&] { return level(random); });
      for (size_t k = 0; k < energies.size(); ++k) {
        ProcessBlock(state.instances[k].get(), in.data(), out.data(), 128);
        for (const float sample : out) {
          ASSERT_TRUE(std::isfinite(sample));
          energies[k] += static_cast<double>(sample) * static_cast<double>(sample);
        }
      }
    }
    const std::string reports = testing::internal::GetCapturedStderr();
    RecordProperty("linesOnStderr", static_cast<int>(std::count(reports.begin(), reports.end(), '\n')));
    EXPECT_THAT(energies, ::testing::Each(::testing::Gt(0.0)));
    UnloadModule(state);
  }
}

INSTANTIATE_TEST_SUITE_P(Zam, RealEffect, ::testing::Values("ZamGate", "ZamComp", "ZaMultiComp", "ZamEQ2", "ZamVerb"),
                         [](const auto& effect) { return std::string(effect.param); });

}  // namespace
}  // namespace tarnwick::plugin
