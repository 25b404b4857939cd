// Loading and validating modules, and which class of a module is chosen.
#include "plugin_fixture.h"

namespace tarnwick::plugin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(PluginTest, ChoosesTheFirstClassOfTheEffectCategory) {
  const struct {
    const char* words;
    const wchar_t* name;
    Calls calls;
  } choices[] = {
      {"", L"Test Effect \u00e4", {"ModuleEntry", "factory.getClassInfo2 0"}},
      {"two-effects old-factory", L"First", {"ModuleEntry", "factory.getClassInfo 0", "factory.getClassInfo 1"}},
      {"two-effects info-throws-at=0 info-fails-at=1",
       L"Second",
       {"ModuleEntry", "factory.getClassInfo2 0", "factory.getClassInfo2 1", "factory.getClassInfo2 2"}},
      {"long-name",
       L"0123456789012345678901234567890123456789012345678901234567890123",
       {"ModuleEntry", "factory.getClassInfo2 0"}},
  };
  for (const auto& choice : choices) {
    SCOPED_TRACE(choice.words);
    UnloadModule(state);
    calls.clear();
    load(choice.words);
    EXPECT_EQ(state.className, choice.name);
    EXPECT_EQ(takeCalls(), choice.calls);
    EXPECT_EQ(traced.back(), L"VST3 module loaded: " + std::wstring(choice.name));
    EXPECT_NE(addInstance(), nullptr) << "its id";
    std::wstring name;
    EXPECT_TRUE(ValidateModule(TestModule("gain"), nullptr, &name));
    EXPECT_EQ(name, choice.name);
  }
  EXPECT_TRUE(LoadModule(state, TestModule("no_entry")));
}

TEST_F(PluginTest, ARefusedModuleLeavesNothingLoadedAndSaysWhy) {
  const std::wstring library = L"LoadLibrary failed";
  const std::wstring symbol = L"GetPluginFactory symbol not found.";
  const std::wstring null = L"GetPluginFactory returned null.";
  const std::wstring noClass = L"No VST3 audio effect class found in module.";
  const struct {
    const char* module;
    const char* words;
    std::wstring loading;
    std::wstring validating;
  } refusals[] = {
      {"missing", "", library + L" for VST3 module.", library + L"."},
      {"gain", "entry-fails", library + L" for VST3 module.", library + L"."},
      {"gain", "entry-throws", library + L" for VST3 module.", library + L"."},
      {"no_factory", "", symbol, symbol},
      {"gain", "factory-throws", null, null},
      {"gain", "count-classes-throws", noClass, L"no audio effect class found."},
      {"gain", "other-categories", noClass, L"no audio effect class found."},
  };
  for (const auto& refusal : refusals) {
    SCOPED_TRACE(std::string(refusal.module) + " " + refusal.words);
    load("");
    addInstance();
    state.instances.push_back(nullptr);  // an empty slot of the instance table
    addInstance();
    calls.clear();
    traced.clear();
    SetModuleWords(refusal.words);
    EXPECT_FALSE(LoadModule(state, TestModule(refusal.module)));
    std::wstring words;  // the loader's own
    if (platform::Module::Load(TestModule(refusal.module), &words) == nullptr) {
      words = L" (" + words + L")";
    }
    EXPECT_THAT(traced, ElementsAre(TestModule(refusal.module) + L": " + refusal.loading + words));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "component freed"), 2) << "the one before";
    EXPECT_EQ(takeCalls().back(), "ModuleExit with 0 objects");
    EXPECT_FALSE(state.loaded);
    EXPECT_THAT(state.instances, IsEmpty());
    EXPECT_EQ(CreateInstance(state, 48000.0, 64), nullptr);

    traced.clear();
    std::wstring reason;
    std::wstring name = L"unchanged";
    EXPECT_FALSE(ValidateModule(TestModule(refusal.module), &reason, &name));
    EXPECT_EQ(reason, L"VST3 validation failed: " + refusal.validating + words);
    EXPECT_THAT(traced, ElementsAre(TestModule(refusal.module) + L": " + reason));
    EXPECT_EQ(name, L"unchanged");

    // A library that had stayed would still hold the log, and the words, of its earlier uses.
    SetModuleWords("");
    const auto again = platform::Module::Load(TestModule("gain"));
    ASSERT_NE(again, nullptr);
    listenTo(*again);
    EXPECT_THAT(takeCalls(), ElementsAre("ModuleEntry"));
  }
}

TEST_F(PluginTest, ValidationLeavesTheLoadedModuleAlone) {
  load("");
  PluginInstance* instance = addInstance();
  calls.clear();
  EXPECT_TRUE(ValidateModule(TestModule("gain")));  // the very file that is loaded
  // Neither its entry nor its exit function ran again: many effects drop their global state in the exit function.
  EXPECT_THAT(takeCalls(), ElementsAre("factory.getClassInfo2 0", "factory freed"));
  EXPECT_TRUE(ValidateModule(TestModule("no_entry")));
  EXPECT_FALSE(ValidateModule(TestModule("no_classes")));
  EXPECT_THAT(calls, IsEmpty());
  EXPECT_EQ(state.className, L"Test Effect \u00e4");
  const float in = 0.5f;
  float out = 0.0f;
  ProcessBlock(instance, &in, &out, 1);
  EXPECT_EQ(out, 0.25f);
  EXPECT_NE(addInstance(), nullptr);
}

}  // namespace
}  // namespace tarnwick::plugin
