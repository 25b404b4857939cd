// Loading and validating modules, and which class of a module is chosen.
#include <cstring>

#include "plugin_fixture.h"
#include "plugins/class_ids.h"

namespace tarnwick::plugin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Choice {
  const char* module;
  const wchar_t* name;
  const Steinberg::FUID& id;
  std::vector<std::string> calls;
};

TEST_F(PluginTest, ChoosesTheFirstClassOfTheEffectCategory) {
  using test_plugin::kEffectClassId;
  const Choice choices[] = {
      {"gain", L"Test Effect \u00e4", kEffectClassId, {"ModuleEntry", "factory.getClassInfo2 0"}},
      {"two_effects", L"First", kEffectClassId, {"ModuleEntry", "factory.getClassInfo2 0", "factory.getClassInfo2 1"}},
      {"old_factory", L"First", kEffectClassId, {"ModuleEntry", "factory.getClassInfo 0", "factory.getClassInfo 1"}},
      {"info_fails_first",
       L"Second",
       test_plugin::kSecondEffectClassId,
       {"ModuleEntry", "factory.getClassInfo2 0", "factory.getClassInfo2 1", "factory.getClassInfo2 2"}},
      {"info_throws_first",
       L"Second",
       test_plugin::kSecondEffectClassId,
       {"ModuleEntry", "factory.getClassInfo2 0", "factory.getClassInfo2 1", "factory.getClassInfo2 2"}},
      {"long_name",
       L"0123456789012345678901234567890123456789012345678901234567890123",
       kEffectClassId,
       {"ModuleEntry", "factory.getClassInfo2 0"}},
      {"no_entry", L"Test Effect \u00e4", kEffectClassId, {"factory.getClassInfo2 0"}},
  };
  for (const Choice& choice : choices) {
    SCOPED_TRACE(choice.module);
    traced.clear();
    loadAndListen(choice.module);
    EXPECT_TRUE(state.loaded);
    EXPECT_EQ(state.className, choice.name);
    EXPECT_EQ(std::memcmp(state.classId, choice.id.toTUID(), sizeof(Steinberg::TUID)), 0);
    EXPECT_EQ(takeCalls(), choice.calls);
    EXPECT_THAT(traced, ElementsAre(L"VST3 module loaded: " + std::wstring(choice.name)));

    std::wstring name;
    EXPECT_TRUE(ValidateModule(TestModule(choice.module), nullptr, &name));
    EXPECT_EQ(name, choice.name);
    UnloadModule(state);
    calls.clear();
  }
}

TEST_F(PluginTest, ARefusedModuleLeavesNothingLoadedAndSaysWhy) {
  const std::wstring library = L"LoadLibrary failed";
  const std::wstring symbol = L"GetPluginFactory symbol not found.";
  const std::wstring null = L"GetPluginFactory returned null.";
  const std::wstring noClass = L"No VST3 audio effect class found in module.";
  const struct {
    const char* module;
    std::wstring loading;
    std::wstring validating;
  } refusals[] = {
      {"missing", library + L" for VST3 module.", library + L"."},
      {"entry_refuses", library + L" for VST3 module.", library + L"."},
      {"entry_throws", library + L" for VST3 module.", library + L"."},
      {"no_factory", symbol, symbol},
      {"null_factory", null, null},
      {"factory_throws", null, null},
      {"no_classes", noClass, L"no audio effect class found."},
      {"count_throws", noClass, L"no audio effect class found."},
      {"other_categories", noClass, L"no audio effect class found."},
  };
  for (const auto& refusal : refusals) {
    SCOPED_TRACE(refusal.module);
    ASSERT_TRUE(LoadModule(state, TestModule("gain")));
    ASSERT_NE(addInstance(), nullptr);
    traced.clear();
    EXPECT_FALSE(LoadModule(state, TestModule(refusal.module)));
    EXPECT_THAT(traced, ElementsAre(refusal.loading));
    EXPECT_FALSE(state.loaded);
    EXPECT_EQ(state.module, nullptr);
    EXPECT_EQ(state.factory, nullptr);
    EXPECT_EQ(state.className, L"");
    EXPECT_THAT(state.instances, IsEmpty());
    EXPECT_EQ(CreateInstance(state, 48000.0, 64), nullptr);

    traced.clear();
    std::wstring reason;
    std::wstring name = L"unchanged";
    EXPECT_FALSE(ValidateModule(TestModule(refusal.module), &reason, &name));
    EXPECT_EQ(reason, L"VST3 validation failed: " + refusal.validating);
    EXPECT_THAT(traced, ElementsAre(reason));
    EXPECT_EQ(name, L"unchanged");
  }
}

TEST_F(PluginTest, ARefusedLibraryIsReallyUnloaded) {
  for (const char* name : {"null_factory", "factory_throws", "no_classes", "other_categories"}) {
    SCOPED_TRACE(name);
    calls.clear();
    EXPECT_FALSE(LoadModule(state, TestModule(name)));
    EXPECT_FALSE(ValidateModule(TestModule(name)));
    // A library that had stayed would still hold the log of the earlier uses.
    const auto again = platform::Module::Load(TestModule(name));
    ASSERT_NE(again, nullptr);
    listenTo(*again);
    EXPECT_THAT(takeCalls(), ElementsAre("ModuleEntry"));
  }
}

TEST_F(PluginTest, LoadingUnloadsTheOldModuleWithItsInstancesFirst) {
  loadAndListen("gain");
  addInstance();
  state.instances.push_back(nullptr);  // an empty slot of the instance table
  addInstance();
  calls.clear();
  ASSERT_TRUE(LoadModule(state, TestModule("separate")));
  EXPECT_THAT(state.instances, IsEmpty());
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "component freed"), 2);
  EXPECT_EQ(calls.back(), "ModuleExit with 0 objects");
}

TEST_F(PluginTest, ValidationLeavesTheLoadedModuleAlone) {
  loadAndListen("gain");
  PluginInstance* instance = addInstance();
  auto* const factory = state.factory;
  calls.clear();
  EXPECT_TRUE(ValidateModule(TestModule("gain")));  // the very file that is loaded
  // Neither its entry nor its exit function ran again: many effects drop their global state in the exit function.
  EXPECT_THAT(takeCalls(), ElementsAre("factory.getClassInfo2 0", "factory freed"));
  EXPECT_TRUE(ValidateModule(TestModule("two_effects")));
  EXPECT_FALSE(ValidateModule(TestModule("other_categories")));
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_TRUE(state.loaded);
  EXPECT_EQ(state.factory, factory);
  EXPECT_EQ(state.className, L"Test Effect \u00e4");
  const float in = 0.5f;
  float out = 0.0f;
  ProcessBlock(instance, &in, &out, 1);
  EXPECT_EQ(out, 0.25f);
  EXPECT_NE(addInstance(), nullptr);
}

}  // namespace
}  // namespace tarnwick::plugin
