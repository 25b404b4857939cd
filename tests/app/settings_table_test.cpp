// Every row of the table of the settings: where its value goes, which key changes it, and where its range ends.
#include "app/settings_table.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "app/application_rig.h"
#include "app/remote/callbacks.h"
#include "app/remote/patches.h"
#include "app/remote/status.h"
#include "app/settings.h"
#include "scratch_location.h"
#include "settings/saved_instances.h"

namespace tarnwick::app {
namespace {

using settings::SettingsMap;

// The table once more, by hand: the default and another value as they are stored, and the patch and the key that
// change it to the other value, as a client writes it.
struct Row {
  const wchar_t* name;
  const wchar_t* standard;
  std::wstring other;
  Patch patch = Patch::none;
  const char* key = "";
  const char* query = "";
};

const Row kRows[] = {
    {L"device", L"Tarnwick Virtual Audio", L"Desk", Patch::audio, "device", "Desk"},
    {L"sampleRate", L"48000", L"44100.5", Patch::audio, "sampleRate", "44100.5"},
    {L"bufferSize", L"256", L"0", Patch::audio, "bufferSize", "0"},
    {L"pluginPath", L"", L"/e/\u00C4 \"q\".vst3", Patch::host, "pluginPath", "/e/\xC3\x84 \"q\".vst3"},
    {L"instances", L"[]",
     settings::TextFromInstances(
         {{L"Lead", 1, 2, -6, 3, true, false, 37.0, true}, {L"", -1, 4095, 0, 0, false, true, 0.0, false}})},
    {L"mmcssProAudio", L"1", L"0", Patch::audio, "mmcssEnabled", "false"},
    {L"bypassAll", L"0", L"1"},
    {L"testSignalAll", L"0", L"1"},
    {L"autoStartAsio", L"0", L"1", Patch::audio, "autoStartAsioEnabled", "true"},
    {L"runAtStartup", L"0", L"1", Patch::host, "runAtStartupEnabled", "true"},
    {L"rememberSettings", L"1", L"0", Patch::host, "rememberSettingsEnabled", "false"},
    {L"autoStartInstances", L"0", L"1", Patch::host, "autoStartInstancesEnabled", "true"},
    {L"scheduleSystemRebootEnabled", L"0", L"1", Patch::host, "scheduleSystemRebootEnabled", "true"},
    {L"schedulePcRestartMinutes", L"360", L"61", Patch::host, "scheduleRebootMinutes", "61"},
    {L"enginePriority", L"5", L"4", Patch::audio, "enginePriority", "4"},
    {L"uiPriority", L"1", L"3", Patch::audio, "uiPriority", "3"},
    {L"audioPriority", L"2", L"0", Patch::audio, "audioPriority", "0"},
    {L"networkPriority", L"2", L"1", Patch::host, "networkPriority", "1"},
    {L"cpuSteeringMaskEngine", L"0", L"9223372036854775808", Patch::steering, "engineMask", "9223372036854775808"},
    {L"cpuSteeringMaskRecord", L"0", L"1", Patch::steering, "recordMask", "1"},
    {L"cpuSteeringMaskPlayback", L"0", L"2", Patch::steering, "playbackMask", "2"},
    {L"cpuSteeringMaskNetworkUi", L"0", L"3", Patch::steering, "networkUiMask", "3"},
    {L"cpuSteeringMaskOtherProcesses", L"0", L"4", Patch::steering, "otherProcessesMask", "4"},
};

// An application that nothing but the settings has set up.
struct Plain {
  Seen seen;
  Application app;

  explicit Plain(const SettingsMap& stored = {}, const Options& options = {}) : app(options, seen.surface(), stored) {
    app.ui.open([](platform::UiMessage, intptr_t) {});
    app.systemControl.processes.setOwnAffinity = [](uint64_t) { return true; };
    app.systemControl.processes.setUiThreadLevel = [](int32_t) { return 0; };
  }
  // The text that would be stored under a name.
  std::wstring stored(const wchar_t* name) { return CurrentSettings(app)[name]; }
};

SettingsMap only(const wchar_t* name, const std::wstring& text) {
  SettingsMap map;
  map[name] = text;
  return map;
}

SettingsMap defaults() {
  SettingsMap map;
  for (const Row& row : kRows) {
    map[row.name] = row.standard;
  }
  return map;
}

std::string narrow(const std::wstring& text) {
  return platform::Utf8FromWide(text);
}

TEST(SettingsTable, EachIsStoredAndReadBackByItself) {
  ASSERT_EQ(std::size(kRows), Settings().size());
  EXPECT_EQ(CurrentSettings(Plain().app), defaults());
  SettingsMap all;
  for (const Row& row : kRows) {
    SettingsMap expected = defaults();
    expected[row.name] = row.other;
    EXPECT_EQ(CurrentSettings(Plain(only(row.name, row.other)).app), expected) << narrow(row.name);
    EXPECT_EQ(CurrentSettings(Plain(only(row.name, std::wstring(1, L'\0') + row.other)).app), defaults())
        << narrow(row.name) << ": one that cannot be read costs nothing else";
    all[row.name] = row.other;
  }
  const settings::ScratchLocation place;
  ASSERT_TRUE(settings::WriteSettings(place.location(), CurrentSettings(Plain(all).app)));
  const Plain plain(settings::ReadSettings(place.location()));
  EXPECT_EQ(CurrentSettings(plain.app), all);
  // Where the program looks for those that could be mixed up.
  const Preferences& p = plain.app.preferences;
  EXPECT_TRUE(p.autoStartAsio && p.runAtStartup && p.autoStartInstances && p.scheduleReboot && !p.rememberSettings);
  EXPECT_TRUE(p.sampleRate == 44100.5 && p.bufferSize == 0 && p.restartTime == std::chrono::minutes(61));
  const SystemControl& control = plain.app.systemControl;
  EXPECT_TRUE(plain.app.engine.enginePriority == 4 && control.uiPriority == 3 && control.audioPriority == 0 &&
              control.networkPriority == 1);
  EXPECT_EQ(system::ChosenMasks(plain.app.steering), (system::SteeringMasks{uint64_t{1} << 63, 1, 2, 3, 4}));
  EXPECT_TRUE(plain.app.host.bypassAll && plain.app.engine.testSignalAll && !plain.app.engine.mmcssEnabled);
}

TEST(SettingsTable, AKeyOfAPatchChangesItsSettingAlone) {
  for (const Row& row : kRows) {
    for (const Patch patch : {Patch::host, Patch::audio, Patch::steering}) {
      const auto changes = ReadSettingsPatch(patch, {{row.key, row.query}, {"other", "?"}});
      ASSERT_TRUE(changes) << row.key;
      ASSERT_EQ(changes->size(), patch == row.patch ? 1u : 0u) << row.key;
      if (patch == row.patch) {
        EXPECT_STREQ(changes->front().setting->name, row.name) << row.key;
        EXPECT_EQ(settings::TextFromValue(changes->front().value), row.other) << row.key;
      }
    }
  }
}

TEST(SettingsTable, TheStatusDocumentHasItsMembersInOrder) {
  Plain plain;
  remote::RemoteStatusSnapshot status;
  FillRemoteStatus(plain.app, status);
  FillRemoteStatus(plain.app, status);  // into what held another
  const auto keys = [](const std::vector<remote::RemoteSetting>& members) {
    std::vector<std::string> names;
    std::transform(members.begin(), members.end(), std::back_inserter(names), [](const auto& m) { return m.key; });
    return names;
  };
  EXPECT_THAT(keys(status.switches),
              ::testing::ElementsAre("mmcssEnabled", "bypassAllEnabled", "testSignalAllEnabled"));
  EXPECT_THAT(
      keys(status.settings),
      ::testing::ElementsAre("autoStartAsioEnabled", "runAtStartupEnabled", "rememberSettingsEnabled",
                             "autoStartInstancesEnabled", "scheduleSystemRebootEnabled", "scheduleRebootMinutes",
                             "enginePriority", "uiPriority", "audioPriority", "networkPriority"));
  EXPECT_EQ(std::get<int32_t>(status.settings[5].value), 360);
}

// Through the server's callbacks, as a page would.
TEST(SettingsPatch, IsMadeAsAWholeOrNotAtAll) {
  Plain plain;
  const auto callbacks = MakeRemoteCallbacks(plain.app);
  const SettingsMap before = CurrentSettings(plain.app);
  const remote::RemoteSettingsPatch audio[] = {
      {{"sampleRate", "nan"}}, {{"bufferSize", "64.5"}}, {{"bufferSize", "2147483648"}}, {{"enginePriority", "6"}},
      {{"uiPriority", "2 "}},  {{"mmcssEnabled", "1"}},  {{"device", "none such"}},
  };
  for (auto patch : audio) {
    patch.emplace("autoStartAsioEnabled", "true");
    EXPECT_FALSE(callbacks.audioConfig(patch)) << patch.rbegin()->first;
  }
  EXPECT_FALSE(callbacks.hostConfig({{"scheduleSystemRebootEnabled", "true"}, {"networkPriority", "6"}}));
  EXPECT_FALSE(callbacks.hostConfig({{"scheduleSystemRebootEnabled", "true"}, {"pluginPath", std::string(4097, 'a')}}));
  EXPECT_FALSE(callbacks.cpuSteering({{"engineMask", "1"}, {"recordMask", "9223372036854775808"}}));
  EXPECT_FALSE(callbacks.cpuSteering({{"engineMask", "18446744073709551616"}}));
  EXPECT_EQ(CurrentSettings(plain.app), before);

  EXPECT_TRUE(callbacks.hostConfig({{"scheduleRebootMinutes", "61"}, {"networkPriority", "1"}}));
  EXPECT_TRUE(callbacks.audioConfig({{"sampleRate", "96000"}, {"uiPriority", "3"}}));
  EXPECT_TRUE(callbacks.cpuSteering({{"recordMask", "1"}}));
  SettingsMap after = before;
  after[L"schedulePcRestartMinutes"] = L"61";
  after[L"networkPriority"] = L"1";
  after[L"sampleRate"] = L"96000";
  after[L"uiPriority"] = L"3";
  after[L"cpuSteeringMaskRecord"] = L"1";
  EXPECT_EQ(CurrentSettings(plain.app), after);
}

TEST(SettingsPatch, ARunningSessionKeepsItsDeviceRateAndLength) {
  Rig rig;
  rig.start(1);
  const auto callbacks = MakeRemoteCallbacks(rig.app);
  EXPECT_TRUE(
      callbacks.audioConfig({{"device", "tarnwick virtual audio"}, {"sampleRate", "48000"}, {"bufferSize", "256"}}));
  EXPECT_FALSE(callbacks.audioConfig({{"sampleRate", "96000"}}));
  EXPECT_FALSE(callbacks.audioConfig({{"bufferSize", "128"}}));
}

// From a page, from the store and from the command line alike.
TEST(SettingsTable, RangesEndWhereTheyAreSaidToEnd) {
  const struct {
    const wchar_t* name;
    const char* inside[2];
    const char* outside[2];
    const wchar_t* refusal;
    const char* option;
  } cases[] = {
      {L"sampleRate",
       {"1000", "384000"},
       {"999.9", "384000.1"},
       L"The sample rate must lie between 1000 and 384000 Hz.",
       "--sample-rate"},
      {L"bufferSize",
       {"0", "65536"},
       {"-1", "65537"},
       L"The buffer size must lie between 0 and 65536 samples.",
       "--buffer-size"},
      {L"schedulePcRestartMinutes",
       {"0", "1439"},
       {"-1", "1440"},
       L"The restart time must lie between 0 and 1439 minutes since midnight.",
       nullptr},
      {L"enginePriority", {"0", "5"}, {"-1", "6"}, L"There is no such priority.", nullptr},
      {L"uiPriority", {"0", "5"}, {"-1", "6"}, L"There is no such priority.", nullptr},
      {L"audioPriority", {"0", "5"}, {"-1", "6"}, L"There is no such priority.", nullptr},
      {L"networkPriority", {"0", "5"}, {"-1", "6"}, L"There is no such priority.", nullptr},
  };
  for (const auto& c : cases) {
    const Setting& setting = SettingNamed(c.name);
    const auto accepts = [&](const char* text, std::wstring& error) {
      const auto changes = ReadSettingsPatch(setting.patch, {{setting.key, text}});
      Plain plain;
      return changes && ChangeSettings(plain.app, *changes, error);
    };
    const auto parsed = [&](const char* text) {
      std::string answer;
      int exitCode = 0;
      return ParseOptions({std::string(c.option) + "=" + text}, answer, exitCode).has_value();
    };
    for (const bool high : {false, true}) {
      SCOPED_TRACE(narrow(c.name) + (high ? " at its end" : " at its beginning"));
      const std::wstring inside = platform::WideFromUtf8(c.inside[high]);
      const std::wstring outside = platform::WideFromUtf8(c.outside[high]);
      std::wstring error;
      EXPECT_TRUE(accepts(c.inside[high], error));
      EXPECT_FALSE(accepts(c.outside[high], error));
      EXPECT_EQ(error, c.refusal);
      EXPECT_EQ(Plain(only(c.name, inside)).stored(c.name), inside);
      const bool clamped = setting.form.kind == settings::Kind::priority;
      EXPECT_EQ(Plain(only(c.name, outside)).stored(c.name), clamped ? inside : std::wstring(setting.standard));
      if (c.option != nullptr) {
        EXPECT_TRUE(parsed(c.inside[high]));
        EXPECT_FALSE(parsed(c.outside[high]));
      }
    }
  }
}

TEST(Settings, AnOptionsValueIsStoredOnlyOnceItWasChosen) {
  Options options;
  options.device = L"Tarnwick Virtual Audio";
  options.sampleRate = 96000.0;
  options.bufferSize = 512;
  options.plugin = L"/e/option.vst3";
  options.virtualDevice.clock = sound::VirtualClock::fast;
  const wchar_t* names[] = {L"device",     L"sampleRate",    L"bufferSize",
                            L"pluginPath", L"mmcssProAudio", L"enginePriority"};
  Plain plain(only(L"sampleRate", L"44100"), options);
  SettingsMap others = defaults();
  for (const wchar_t* name : names) {
    others.erase(name);
  }
  EXPECT_EQ(CurrentSettings(plain.app), others);
  EXPECT_EQ(plain.app.preferences.sampleRate, 96000.0);
  EXPECT_FALSE(plain.app.engine.mmcssEnabled.load());
  // The very values of the options, but chosen by somebody.
  SelectDevice(plain.app, *options.device);
  EXPECT_TRUE(MakeRemoteCallbacks(plain.app).audioConfig({{"bufferSize", "512"}}));
  others[L"device"] = L"Tarnwick Virtual Audio";
  others[L"bufferSize"] = L"512";
  EXPECT_EQ(CurrentSettings(plain.app), others);
  plain.app.device.list.selected.clear();
  others.erase(L"device");
  EXPECT_EQ(CurrentSettings(plain.app), others) << "a device that is switched off today stays stored";
}

std::string fileText(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(std::string(TARNWICK_SOURCES) + "/" + path).rdbuf();
  return text.str();
}

// A row of docs/settings.md.
std::string documented(const Setting& setting) {
  const settings::Form& form = setting.form;
  // By kind; a whole number and a number have their range.
  const char* forms[] = {
      "\"1\" or \"0\"", "",    "", "\"0\" (Idle) to \"5\" (Realtime)", "decimal; bit k = processor k, \"0\" = all",
      "text",           "JSON"};
  std::string text = forms[static_cast<size_t>(form.kind)];
  if (text.empty()) {
    text = narrow(settings::TextFromValue(form.lowest) + L" to " + settings::TextFromValue(form.highest) + L" " +
                  form.unit);
  }
  const char* routes[] = {"", "`/api/host/config`", "`/api/audio/config`", "`/api/cpu-steering/config`"};
  const bool changed = setting.patch != Patch::none;
  return "| " + narrow(setting.name) + " | " + setting.meaning + " | " + text + " | \"" + narrow(setting.standard) +
         "\" | " +
         (changed ? "`" + std::string(setting.key) + "` of " + routes[static_cast<size_t>(setting.patch)] + " " : "") +
         "|\n";
}

TEST(SettingsTable, TheDocumentsSayTheSame) {
  std::string table;
  for (const Setting& setting : Settings()) {
    table += documented(setting);
  }
  EXPECT_NE(fileText("docs/settings.md").find("|---|---|---|---|---|\n" + table + "\n"), std::string::npos)
      << "docs/settings.md must have these rows:\n"
      << table;
  // Where the limits are repeated by hand.
  EXPECT_THAT(fileText("README.md"), ::testing::HasSubstr("in Hz, 1000 to 384000"));
  EXPECT_THAT(fileText("README.md"), ::testing::HasSubstr("in a block, 0 to 65536"));
  EXPECT_THAT(fileText("remote/pages/host.js"), ::testing::HasSubstr("1000, 384000, 'Hz'"));
}

}  // namespace
}  // namespace tarnwick::app
