#include "settings/program_settings.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace tarnwick::settings {
namespace {

SettingsMap mapOfRate(double hz) {
  ProgramSettings settings;
  settings.sampleRate = hz;
  return MapFromSettings(settings);
}

ProgramSettings everything() {
  ProgramSettings all;
  all.pluginPath = L"/effects/\u00C4 \"q\".vst3";
  all.device = L"";
  all.sampleRate = 44100.0;
  all.bufferSize = 0;
  all.mmcssProAudio = true;
  all.enginePriority = 5;
  all.audioPriority = 0;
  all.uiPriority = 1;
  all.networkPriority = 2;
  all.bypassAll = false;
  all.testSignalAll = true;
  all.instances = {{L"Vocals \"1\"\\", 4095, 0, -60, 24, true, false, 37.5, true}, {}};
  all.rememberSettings = false;
  all.runAtStartup = true;
  all.autoStartInstances = false;
  all.autoStartAsio = true;
  all.scheduleSystemRebootEnabled = false;
  all.schedulePcRestartMinutes = 1439;
  all.cpuSteeringMasks = {1, 0, uint64_t{1} << 63, std::numeric_limits<uint64_t>::max(), 6};
  return all;
}

TEST(ProgramSettings, AreStoredInTheirDocumentedForms) {
  const SettingsMap expected = {
      {L"pluginPath", L"/effects/\u00C4 \"q\".vst3"},
      {L"device", L""},
      {L"sampleRate", L"44100"},
      {L"bufferSize", L"0"},
      {L"mmcssProAudio", L"1"},
      {L"enginePriority", L"5"},
      {L"audioPriority", L"0"},
      {L"uiPriority", L"1"},
      {L"networkPriority", L"2"},
      {L"bypassAll", L"0"},
      {L"testSignalAll", L"1"},
      {L"instances",
       L"[{\"name\":\"Vocals \\\"1\\\"\\\\\",\"inputChannel\":4095,\"outputChannel\":0,\"inputGainDb\":-60,"
       L"\"outputGainDb\":24,\"bypassEnabled\":true,\"testSignalEnabled\":false,\"firstParamPercent\":37.5},"
       L"{\"name\":\"\",\"inputChannel\":-1,\"outputChannel\":-1,\"inputGainDb\":0,\"outputGainDb\":0,"
       L"\"bypassEnabled\":false,\"testSignalEnabled\":false}]"},
      {L"rememberSettings", L"0"},
      {L"runAtStartup", L"1"},
      {L"autoStartInstances", L"0"},
      {L"autoStartAsio", L"1"},
      {L"scheduleSystemRebootEnabled", L"0"},
      {L"schedulePcRestartMinutes", L"1439"},
      {L"cpuSteeringMaskEngine", L"1"},
      {L"cpuSteeringMaskRecord", L"0"},
      {L"cpuSteeringMaskPlayback", L"9223372036854775808"},
      {L"cpuSteeringMaskNetworkUi", L"18446744073709551615"},
      {L"cpuSteeringMaskOtherProcesses", L"6"},
  };
  EXPECT_EQ(MapFromSettings(everything()), expected);
  EXPECT_EQ(SettingsFromMap(expected), everything());
  EXPECT_EQ(MapFromSettings({}), SettingsMap());
}

TEST(ProgramSettings, NumbersTakeTheirRangeAndNothingElse) {
  const auto rate = [](const std::wstring& text) { return SettingsFromMap({{L"sampleRate", text}}).sampleRate; };
  for (const double hz : {1000.0, 48000.0 / 1.001, 384000.0}) {
    EXPECT_EQ(rate(mapOfRate(hz).at(L"sampleRate")), hz);
  }
  for (const wchar_t* text : {L"", L"999.99", L"384001", L"nan", L"1e999", L"48000,0", L" 48000", L"48000Hz",
                              L"\u0664\u0668\u0660\u0660\u0660"}) {
    EXPECT_EQ(rate(text), std::nullopt) << std::string(text, text + std::wcslen(text));
  }
  EXPECT_TRUE(mapOfRate(std::numeric_limits<double>::quiet_NaN()).empty());

  struct Case {
    const wchar_t* text;
    std::optional<int32_t> bufferSize;
    std::optional<int32_t> minutes;
    std::optional<int32_t> priority;
    std::optional<uint64_t> mask;
  };
  const Case cases[] = {
      {L"0", 0, 0, 0, 0},
      {L"1439", 1439, 1439, 5, 1439},
      {L"1440", 1440, {}, 5, 1440},
      {L"4294967297", {}, {}, 5, 4294967297},
      {L"-1", {}, {}, 0, {}},
      {L"9223372036854775808", {}, {}, {}, uint64_t{1} << 63},
      {L"18446744073709551616", {}, {}, {}, {}},
      {L"3.0", {}, {}, {}, {}},
      {L"", {}, {}, {}, {}},
  };
  for (const Case& c : cases) {
    const ProgramSettings read = SettingsFromMap({{L"bufferSize", c.text},
                                                  {L"schedulePcRestartMinutes", c.text},
                                                  {L"uiPriority", c.text},
                                                  {L"cpuSteeringMaskRecord", c.text}});
    const std::string what(c.text, c.text + std::wcslen(c.text));
    EXPECT_EQ(read.bufferSize, c.bufferSize) << what;
    EXPECT_EQ(read.schedulePcRestartMinutes, c.minutes) << what;
    EXPECT_EQ(read.uiPriority, c.priority) << what;
    EXPECT_EQ(read.cpuSteeringMasks[1], c.mask) << what;
  }
}

TEST(ProgramSettings, ACorruptValueCostsThatValueOnly) {
  const SettingsMap good = MapFromSettings(everything());
  for (const auto& [name, text] : good) {
    SettingsMap spoilt = good;
    spoilt[name] = L'\0' + text;
    SettingsMap expected = good;
    expected.erase(name);
    EXPECT_EQ(MapFromSettings(SettingsFromMap(spoilt)), expected) << std::string(name.begin(), name.end());
  }
  const SettingsMap others = {{L"rememberSettings", L"true"},
                              {L"bypassAll", L"2"},
                              {L"playbackPlayMode", L"1"},
                              {L"device", std::wstring(32768, L'd')}};
  EXPECT_EQ(SettingsFromMap(others), ProgramSettings());
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
