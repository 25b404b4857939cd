// The operations of a loaded driver, one after the other as a session calls them.
#include <gmock/gmock.h>

#include "asio_host.h"
#include "platform/audio/asio/asio_text.h"
#include "platform/text.h"
#include "platform/trace.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;
using tests::TestAsioRig;

const std::wstring kServerKey =
    L"Software\\Classes\\CLSID\\" + std::wstring(tests::kTestAsioClassId) + L"\\InprocServer32";

void setServer(const wchar_t* name, const std::wstring& value) {
  EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kServerKey.c_str(), name, REG_SZ, value.c_str(),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
            ERROR_SUCCESS);
}

TEST(AsioDriver, AnswersEveryOperation) {
  TestAsioRig rig;
  rig.configure(
      "inputs=3 outputs=10 input-types=18 output-types=18,33,19 minimum=17 maximum=480 preferred=48 granularity=-1 "
      "input-latency=11 output-latency=22 blocks=100 clock=fast");
  AsioHost host;
  ASSERT_TRUE(host);
  int window = 0;
  ASSERT_EQ(host->ASIOInit({.systemReference = &window}), ASE_OK);
  EXPECT_EQ(rig.statistics().window, &window);
  int32_t numbers[8] = {};
  EXPECT_EQ(host->ASIOGetChannels(numbers[0], numbers[1]), ASE_OK);
  EXPECT_EQ(host->ASIOGetBufferSize(numbers[2], numbers[3], numbers[4], numbers[5]), ASE_OK);
  EXPECT_EQ(host->ASIOGetLatencies(numbers[6], numbers[7]), ASE_OK);
  EXPECT_THAT(numbers, testing::ElementsAre(3, 10, 17, 480, 48, -1, 11, 22));
  host.signalsReady = true;
  EXPECT_EQ(host->ASIOOutputReady(), ASE_OK);
  ASSERT_EQ(host.create(17), ASE_OK);
  // The second channel's name fills its 32 bytes with a letter that takes two as UTF-8.
  std::string umlauts;
  for (int k = 0; k < 15; ++k) {
    umlauts += "\xC3\xA4";
  }
  const struct {
    bool isInput;
    int32_t channel, group, type;
    std::string name;
  } channels[] = {
      {true, 0, 0, 18, "In 1"}, {true, 1, 0, 18, umlauts}, {false, 4, 0, 33, "Out 5"}, {false, 9, 1, 18, "Out 10"}};
  for (const auto& one : channels) {
    AudioChannelInfo info{.channel = one.channel, .isInput = one.isInput};
    ASSERT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
    EXPECT_TRUE(info.isActive);
    EXPECT_EQ(info.channelGroup, one.group);
    EXPECT_EQ(info.type, one.type);
    EXPECT_EQ(info.name, one.name);
  }
  AudioChannelInfo none{.channel = 3, .isInput = true};
  EXPECT_EQ(host->ASIOGetChannelInfo(none), ASE_InvalidParameter);
  EXPECT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_TRUE(Eventually([&] { return host.blocks == 100; }));
  EXPECT_EQ(host->ASIOControlPanel(), ASE_OK);
  host.close();
  host.unload();
  const tests::TestAsioStatistics& seen = rig.statistics();
  EXPECT_EQ(seen.blocks, 100);
  EXPECT_EQ(seen.mismatches, 0) << "of what the host plays back";
  EXPECT_EQ(seen.outputReadies, 101);
  EXPECT_EQ(seen.panels, 1);
  EXPECT_EQ(seen.engineVersion, 2);
  EXPECT_EQ(seen.wrongThread, 0);
  EXPECT_EQ(seen.wrongOrder, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, CarriesAnInitThatFails) {
  TestAsioRig rig;
  const std::pair<const char*, AsioError> cases[] = {{"Device_is_off", ASE_NotPresent},
                                                     {"Sorry:_ASE_InvalidParameter.", ASE_InvalidParameter}};
  std::wstring traced;
  SetTraceListener([&](TraceKind, std::wstring_view text) { traced = text; });
  for (const auto& [message, error] : cases) {
    SCOPED_TRACE(message);
    rig.configure(std::string("init=") + message);
    AsioHost host;
    ASSERT_TRUE(host);
    EXPECT_EQ(host->ASIOInit({}), error);
    EXPECT_NE(traced.find(WideFromSystemText(message)), std::wstring::npos) << "the driver's words are lost";
    // Nothing reaches a driver that did not open: it might fall over.
    int32_t number = 0;
    EXPECT_EQ(host->ASIOGetChannels(number, number), ASE_NotPresent);
    EXPECT_EQ(host->ASIOControlPanel(), ASE_NotPresent);
    EXPECT_EQ(host->ASIOOutputReady(), ASE_NotPresent);
    EXPECT_EQ(host->ASIOExit(), ASE_NotPresent);
  }
  SetTraceListener({});
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().outputReadies, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, CarriesEveryOtherRefusalAndLeavesNothing) {
  TestAsioRig rig;
  enum Step { channels, bufferSize, create, channelInfo, start, stop, none };
  const std::pair<const char*, Step> cases[] = {{"channels=-999", channels},
                                                {"buffer-size=-999", bufferSize},
                                                {"create=-999", create},
                                                {"null-buffers=1", create},
                                                {"channel-info=-999", channelInfo},
                                                {"start=-999", start},
                                                {"stop=-999", stop},
                                                {"inputs=0", none}};
  for (const auto& [words, refused] : cases) {
    SCOPED_TRACE(words);
    rig.configure(words);
    AsioHost host;
    ASSERT_EQ(host->ASIOInit({}), ASE_OK);
    int32_t number = 0;
    AudioChannelInfo info;
    EXPECT_EQ(host->ASIOGetChannels(number, number) != ASE_OK, refused == channels);
    EXPECT_EQ(host->ASIOGetBufferSize(number, number, number, number) != ASE_OK, refused == bufferSize);
    EXPECT_EQ(host.create() != ASE_OK, refused == create);
    EXPECT_EQ(host->ASIOGetChannelInfo(info) != ASE_OK, refused == channelInfo);
    EXPECT_EQ(host->ASIOStart() != ASE_OK, refused == create || refused == start);
    EXPECT_EQ(host->ASIOStop() != ASE_OK, refused == stop);
    host.unload();
    EXPECT_TRUE(rig.nothingLeft());
  }
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
}

TEST(AsioDriver, LoadsWhatIsRegisteredForAnyApartment) {
  TestAsioRig rig;
  for (const wchar_t* model : {L"Both", L"Free", L""}) {
    SCOPED_TRACE(Utf8FromWide(model));
    setServer(L"ThreadingModel", model);
    if (*model == L'\0') {
      RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kServerKey.c_str(), L"ThreadingModel");
    }
    AsioHost host;
    host.run();
    EXPECT_TRUE(host.awaitBlocks());
  }
  EXPECT_EQ(rig.statistics().wrongThread, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, IsNullWhereNothingCanBeMade) {
  TestAsioRig rig;
  const AudioBackEnd backEnd = AsioBackEnd();
  EXPECT_EQ(backEnd.loadAsioDriver(L"no such driver"), nullptr);
  setServer(nullptr, L"kernel32.dll");  // a file that is no driver
  EXPECT_THAT(backEnd.asioGetDriverNames(), testing::Contains(std::wstring(tests::kTestAsioName)));
  EXPECT_EQ(backEnd.loadAsioDriver(tests::kTestAsioName), nullptr);
}

}  // namespace
}  // namespace tarnwick::platform
