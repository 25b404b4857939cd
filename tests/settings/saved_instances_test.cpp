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
  const struct {
    const wchar_t* member;  // replaces the good one of its name
    SavedInstance expected;
  } cases[] = {
      {L"\"name\":7", {L"", 3, 4, -5, 6, true, true, 50.0, true}},
      {L"\"name\":\"a\\u0007b\\u0085c\\n\"", {L"abc", 3, 4, -5, 6, true, true, 50.0, true}},
      {L"\"inputChannel\":4096", {L"Bass", -1, 4, -5, 6, true, true, 50.0, true}},
      {L"\"inputChannel\":1.5", {L"Bass", -1, 4, -5, 6, true, true, 50.0, true}},
      {L"\"outputChannel\":99999999999999999999", {L"Bass", 3, -1, -5, 6, true, true, 50.0, true}},
      {L"\"inputGainDb\":-1e300", {L"Bass", 3, 4, -60, 6, true, true, 50.0, true}},
      {L"\"outputGainDb\":24.9", {L"Bass", 3, 4, -5, 24, true, true, 50.0, true}},
      {L"\"testSignalEnabled\":\"true\"", {L"Bass", 3, 4, -5, 6, true, false, 50.0, true}},
      {L"\"firstParamPercent\":99.99999951", {L"Bass", 3, 4, -5, 6, true, true, 100.0, true}},
      {L"\"firstParamPercent\":[]", {L"Bass", 3, 4, -5, 6, true, true, 0.0, false}},
      {L"\"firstParamPercent\":100.1", {L"Bass", 3, 4, -5, 6, true, true, 0.0, false}},
  };
  for (const auto& c : cases) {
    const std::wstring member = c.member;
    std::wstring text = TextFromInstances({good, good});
    const size_t from = text.find(member.substr(0, member.find(L':')));
    text.replace(from, text.find_first_of(L",}", from) - from, member);
    EXPECT_EQ(InstancesFromText(text), (std::vector{c.expected, good})) << std::string(member.begin(), member.end());
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
  const std::wstring kept = std::wstring(127, L'n') + L"\U0001F3B8";
  EXPECT_EQ(CleanName(kept + L"\U0001F3B8"), kept);
}

}  // namespace
}  // namespace tarnwick::settings
