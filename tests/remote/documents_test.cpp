#include "remote/documents.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "platform/text.h"
#include "text/json_writer.h"

namespace tarnwick::remote {
namespace {

using namespace std::string_literals;

// Every field differs from its default, so that no two can be mixed up unseen.
RemoteStatusSnapshot filledStatus() {
  RemoteStatusSnapshot s;
  s.running = s.asioRunning = s.recordRunning = true;
  s.switches = {{"mmcssEnabled", false}, {"bypassAllEnabled", true}};
  s.runningClockSyncId = 7;
  s.recordClockSyncId = 8;
  s.runningElapsedSeconds = 61.0625;
  s.recordElapsedSeconds = 0.5;
  s.availableInputChannels = 8;
  s.availableOutputChannels = 6;
  s.pluginPath = L"C:\\VST3\\O.vst3";
  s.device = L"Desk";
  s.sampleRate = 44100.0;
  s.bufferSize = 128;
  s.inputLatency = 200;
  s.cpuDisplayName = L"CPU";
  s.deviceOptions = {L"Desk", L"Other"};
  s.sampleRateOptions = {44100.0, 1e6, 47952.5};
  s.bufferSizeOptions = {64, 128};
  s.settings = {{"flag", true}, {"whole", -90}, {"number", 47952.5}, {"mask", ~uint64_t{0}}, {"text", L"\u00f6"}};
  s.cpuUsagePercent = 12.34f;
  s.cpuCoreUsagePercents = {0.0f, 100.0f};
  s.cpuSteering = {64, {~uint64_t{0}, 1, 2, 3, 0}, {L"all", L"0", L"1", L"0, 1", L"All CPUs"}};
  s.instances.resize(2);
  RemoteInstance& instance = s.instances[0];
  instance.name = L"T\u00f6ne \"1\"";
  instance.inputChannel = 3;
  instance.inputGainDb = -6.0;
  instance.outputGainDb = 24.0;
  instance.inputMeterDb = -12.346f;
  instance.glitchCount = 5'000'000'000;
  instance.firstParamPercent = 33.333;
  instance.bypassEnabled = instance.hasSavedFirstParam = true;
  return s;
}

constexpr const char* kStatusMembers =
    R"("service":"Tarnwick","running":true,"stopping":false,"asioRunning":true,"playbackRunning":false,)"
    R"("recordRunning":true,"runningClockSyncId":7,"recordClockSyncId":8,"runningElapsedSeconds":61.062,)"
    R"("mmcssEnabled":false,"bypassAllEnabled":true,"recordElapsedSeconds":0.500,)"
    R"("availableInputChannels":8,"availableOutputChannels":6,"pluginPath":"C:\\VST3\\O.vst3","device":"Desk",)"
    R"("sampleRate":44100,"bufferSize":128,"inputLatency":200,"outputLatency":-1,"cpuDisplayName":"CPU",)"
    R"("deviceOptions":["Desk","Other"],"sampleRateOptions":[44100,1000000,47952.5],"bufferSizeOptions":[64,128],)"
    "\"flag\":true,\"whole\":-90,\"number\":47952.5,\"mask\":18446744073709551615,\"text\":\"\xC3\xB6\","
    R"("priorityOptions":["Idle","Below Normal","Normal","Above Normal","High","Realtime"],)"
    R"("cpuUsagePercent":12.3,"cpuCoreUsagePercents":[0.0,100.0],"cpuSteering":{"cpuCount":64,)"
    R"("engineMask":18446744073709551615,"recordMask":1,"playbackMask":2,"networkUiMask":3,"otherProcessesMask":0,)"
    R"("engineDisplay":"all","recordDisplay":"0","playbackDisplay":"1","networkUiDisplay":"0, 1",)"
    R"("otherProcessesDisplay":"All CPUs"},"instanceCount":2,"instances":[)"
    "{\"index\":0,\"name\":\"T\xC3\xB6ne \\\"1\\\"\",\"inputChannel\":3,\"outputChannel\":-1,"
    R"("inputGainDb":-6.00,"outputGainDb":24.00,"inputMeterDb":-12.35,"outputMeterDb":-100.00,)"
    R"("glitchCount":5000000000,"firstParamPercent":33.3,"bypassEnabled":true,"testSignalEnabled":false,)"
    R"("hasSavedFirstParam":true},{"index":1,"name":"","inputChannel":-1,"outputChannel":-1,"inputGainDb":0.00,)"
    R"("outputGainDb":0.00,"inputMeterDb":-100.00,"outputMeterDb":-100.00,"glitchCount":0,"firstParamPercent":0.0,)"
    R"("bypassEnabled":false,"testSignalEnabled":false,"hasSavedFirstParam":false}])";

TEST(Documents, HaveTheirMembersInOrder) {
  RemoteRecordSnapshot record;
  record.windowOpen = true;
  record.recordClockSyncId = 9;
  record.recordElapsedSeconds = 3600.0;
  record.recordingFolder = L"D:/takes";
  record.inputChannels = {{1, L"In 2", L"Vox", true}};
  const std::string recordText =
      R"({"windowOpen":true,"recordRunning":false,"recordClockSyncId":9,"recordElapsedSeconds":3600.000,)"
      R"("recordingFolder":"D:/takes","inputChannels":[)"
      R"({"channelIndex":1,"asioName":"In 2","recordName":"Vox","enabled":true}],"outputChannels":[]})";

  RemotePlaybackSnapshot playback;
  playback.loaded = playback.paused = playback.waveformEnabled = true;
  playback.playMode = 2;
  playback.volumeDbTenths = -90;
  playback.leftOutputChannel = 4;
  playback.rightOutputChannel = 5;
  playback.outputChannelCount = 6;
  playback.fades = {1, 2, 3, 4, 5, 6};
  playback.activePlaylistTabIndex = 1;
  playback.position = {1.0, 4.0, 0.25};
  playback.currentLengthText = L"0:04";
  playback.selectedWaveformPath = L"a";
  playback.selectedWaveformOverview = {0.5f, 1.0f};
  playback.playlists = {{L"Set", 0, -1, {{L"/m/a", L"a", L"0:04", L"-9.0", true, false, true}}}, {}};
  const std::string playbackText =
      R"({"windowOpen":false,"loaded":true,"playing":false,"paused":true,"normalizeEnabled":false,)"
      R"("waveformEnabled":true,"playMode":2,"volumeDbTenths":-90,"leftOutputChannel":4,"rightOutputChannel":5,)"
      R"("outputChannelCount":6,"fadePlayInIndex":1,"fadePauseOutIndex":2,"fadeStopOutIndex":3,)"
      R"("fadeChangeInIndex":4,"fadeChangeOutIndex":5,"fadeChangeCrossIndex":6,"activePlaylistTabIndex":1,)"
      R"("currentSeconds":1.000,"totalSeconds":4.000,"playbackProgress":0.2500,"currentLengthText":"0:04",)"
      R"("selectedWaveformPath":"a","selectedWaveformOverview":[0.5000,1.0000],"playlists":[)"
      R"({"name":"Set","selectedIndex":0,"currentIndex":-1,"items":[{"path":"/m/a","filename":"a",)"
      R"("lengthText":"0:04","gainText":"-9.0","selected":true,"current":false,"missing":true}]},)"
      R"({"name":"","selectedIndex":-1,"currentIndex":-1,"items":[]}]})";

  const RemoteStatusSnapshot status = filledStatus();
  const std::string members = kStatusMembers;
  const std::pair<std::string, std::string> cases[] = {
      {StatusDocument(status), "{" + members + "}"},
      {RecordDocument(record), recordText},
      {PlaybackDocument(playback), playbackText},
      {GrantsDocument(
           {true, {{{L"2, 3", true}, {}, {}, {L"0", false}, {}}}, {{L"Workers", L"High", L"nice -5", false}}}),
       R"({"processRefused":true,"engine":{"running":"2, 3","refused":true},"record":{"running":"","refused":false},)"
       R"("playback":{"running":"","refused":false},"networkUi":{"running":"0","refused":false},"priorities":[)"
       R"({"work":"Workers","asked":"High","granted":"nice -5","met":false}]})"},
      {XrunsDocument({3, L"14:02:11"}), R"({"count":3,"last":"14:02:11"})"},
      {FileListDocument(L"/m", {{L"C:\\", true, true}, {L"a", false, false}}),
       R"({"path":"/m","entries":[{"name":"C:\\","isDirectory":true,"isDrive":true},)"
       R"({"name":"a","isDirectory":false,"isDrive":false}]})"},
      {MonitorMessage(status, &record, &playback),
       "{\"type\":\"monitor\"," + members + ",\"record\":" + recordText + ",\"playback\":" + playbackText + "}"},
      {MetersMessage(status),
       R"({"type":"meters","instanceCount":2,"instances":[{"index":0,"inputMeterDb":-12.35,"outputMeterDb":-100.00},)"
       R"({"index":1,"inputMeterDb":-100.00,"outputMeterDb":-100.00}]})"},
      {NoticeMessage("start", L"no"), R"({"type":"notice","action":"start","text":"no"})"},
      {ErrorDocument(L"a\nb"), R"({"error":"a\u000ab"})"},
  };
  for (const auto& [document, expected] : cases) {
    EXPECT_EQ(document, expected);
  }
}

TEST(Documents, NumbersAreJsonWhateverTheyAre) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  for (const auto& [value, decibels] : {std::pair(-0.001, "0.00"), {std::nan(""), "0.00"}, {-kInfinite, "0.00"}}) {
    EXPECT_EQ(text::JsonWriter(0).decibels(value).take(), decibels);
  }
  // The longest and the smallest there are.
  for (const double value : {std::numeric_limits<double>::lowest(), -std::numeric_limits<double>::denorm_min()}) {
    EXPECT_EQ(std::strtod(text::JsonWriter(0).hertz(value).take().c_str(), nullptr), value);
    EXPECT_EQ(std::strtod(text::JsonWriter(0).seconds(value).take().c_str(), nullptr), value < -1.0 ? value : 0.0);
  }
}

TEST(Documents, HostileTextsAreReadBackAsTheyWere) {
  std::wstring controls;
  for (wchar_t c = 0; c <= 0xA0; ++c) {
    controls += c;
  }
  for (const std::wstring& text : {controls, L"\"},{\\\""s, L"\\u0041\\"s, L"\u2028\U0001f3b8\uffff"s}) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(ErrorDocument(text).c_str());
    ASSERT_FALSE(document.HasParseError());
    const auto& error = document["error"];
    EXPECT_EQ(platform::WideFromUtf8({error.GetString(), error.GetStringLength()}), text);
    EXPECT_EQ(ErrorDocument(platform::Utf8FromWide(text)), ErrorDocument(text));
  }
  // Bytes that are no UTF-8 would end a WebSocket connection.
  EXPECT_EQ(text::JsonWriter(0).string("a\xFF\"\0"s).take(), "\"a\xEF\xBF\xBD\\\"\\u0000\"");
}

}  // namespace
}  // namespace tarnwick::remote
