#include "settings/saved_instances.h"

#include <gtest/gtest.h>

#include <string>

namespace tarnwick::settings {
namespace {

TEST(TextFromInstances, HasItsMembersInOrder) {
  const std::vector<SavedInstance> list = {{L"Vocals \"1\"\\", 4095, 0, -60, 24, true, false, 37.5, true}, {}};
  const std::wstring text =
      L"[{\"name\":\"Vocals \\\"1\\\"\\\\\",\"inputChannel\":4095,\"outputChannel\":0,\"inputGainDb\":-60,"
      L"\"outputGainDb\":24,\"bypassEnabled\":true,\"testSignalEnabled\":false,\"firstParamPercent\":37.5},"
      L"{\"name\":\"\",\"inputChannel\":-1,\"outputChannel\":-1,\"inputGainDb\":0,\"outputGainDb\":0,"
      L"\"bypassEnabled\":false,\"testSignalEnabled\":false}]";
  EXPECT_EQ(TextFromInstances(list), text);
  EXPECT_EQ(InstancesFromText(text), list);
}

TEST(InstancesFromText, ACorruptFieldCostsThatFieldOnly) {
  const SavedInstance good = {L"Bass", 3, 4, -5, 6, true, true, 50.0, true};
  const auto with = [&good](auto change) {
    SavedInstance changed = good;
    change(changed);
    return changed;
  };
  struct Case {
    const wchar_t* member;  // replaces the good one of its name
    SavedInstance expected;
  };
  const Case cases[] = {
      {L"\"name\":7", with([](auto& i) { i.name.clear(); })},
      {L"\"name\":\"a\\u0007b\\u0085c\\n\"", with([](auto& i) { i.name = L"abc"; })},
      {L"\"inputChannel\":4096", with([](auto& i) { i.inputChannel = -1; })},
      {L"\"inputChannel\":-2", with([](auto& i) { i.inputChannel = -1; })},
      {L"\"inputChannel\":1.5", with([](auto& i) { i.inputChannel = -1; })},
      {L"\"outputChannel\":99999999999999999999", with([](auto& i) { i.outputChannel = -1; })},
      {L"\"inputGainDb\":-1e300", with([](auto& i) { i.inputGainDb = -60; })},
      {L"\"outputGainDb\":24.9", with([](auto& i) { i.outputGainDb = 24; })},
      {L"\"outputGainDb\":null", with([](auto& i) { i.outputGainDb = 0; })},
      {L"\"testSignalEnabled\":\"true\"", with([](auto& i) { i.testSignalEnabled = false; })},
      {L"\"firstParamPercent\":99.99999951", with([](auto& i) { i.firstParamPercent = 100.0; })},
      {L"\"firstParamPercent\":0e300", with([](auto& i) { i.firstParamPercent = 0.0; })},
      {L"\"firstParamPercent\":[]", with([](auto& i) { i.firstParamPercent = 0.0, i.hasSavedFirstParam = false; })},
      {L"\"firstParamPercent\":100.1", with([](auto& i) { i.firstParamPercent = 0.0, i.hasSavedFirstParam = false; })},
  };
  for (const Case& c : cases) {
    const std::wstring member = c.member;
    const std::wstring name = member.substr(0, member.find(L':'));
    std::wstring text = TextFromInstances({good, good});
    const size_t from = text.find(name);
    text.replace(from, text.find_first_of(L",}", from) - from, member);
    const auto read = InstancesFromText(text);
    ASSERT_TRUE(read.has_value()) << std::string(text.begin(), text.end());
    EXPECT_EQ(*read, (std::vector{c.expected, good})) << std::string(text.begin(), text.end());
  }
}

TEST(InstancesFromText, ListsAreLimitedAndOtherTextIsNone) {
  std::wstring text = L"[";
  for (int k = 0; k < 200; ++k) {
    text += L"7,{\"name\":\"x\",\"inputChannel\":1,\"outputChannel\":2,\"firstParamPercent\":0.33333333333},";
  }
  const std::vector<SavedInstance> first(127, {L"x", 1, 2, 0, 0, false, false, 0.333333, true});
  EXPECT_EQ(InstancesFromText(text + L"[]]"), first) << "elements that are no objects do not count";
  EXPECT_EQ(InstancesFromText(L"[]"), std::vector<SavedInstance>());
  for (const std::wstring& none : {std::wstring(), std::wstring(L"{}"), std::wstring(1'000'000, L'[')}) {
    EXPECT_EQ(InstancesFromText(none), std::nullopt);
  }
}

TEST(CleanName, IsCutToItsLimitWithoutSplittingACharacter) {
  EXPECT_EQ(CleanName(L"\t" + std::wstring(129, L'n')), std::wstring(128, L'n'));
  const std::wstring guitar = L"\U0001F3B8";
  const std::wstring kept = CleanName(std::wstring(127, L'n') + guitar + guitar);
  EXPECT_EQ(kept, std::wstring(127, L'n') + guitar);
}

}  // namespace
}  // namespace tarnwick::settings
