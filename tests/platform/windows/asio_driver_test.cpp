// The operations of a loaded driver, one after the other as a session calls them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "asio_host.h"
#include "platform/text.h"
#include "platform/trace.h"
#include "platform/windows/asio_text.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;
using tests::TestAsioRig;

TEST(AsioDriver, AnswersEveryOperation) {
  TestAsioRig rig;
  rig.configure(
      "inputs=3 outputs=5 input-types=16,19 output-types=20 minimum=17 maximum=480 preferred=48 granularity=-1 "
      "input-latency=11 output-latency=22 blocks=100 clock=fast");
  AsioHost host;
  ASSERT_TRUE(host);
  int window = 0;
  ASSERT_EQ(host->ASIOInit({.systemReference = &window}), ASE_OK);
  EXPECT_EQ(rig.statistics().window, &window);
  int32_t numbers[4] = {};
  EXPECT_EQ(host->ASIOGetChannels(numbers[0], numbers[1]), ASE_OK);
  EXPECT_EQ(numbers[0], 3);
  EXPECT_EQ(numbers[1], 5);
  EXPECT_EQ(host->ASIOGetBufferSize(numbers[0], numbers[1], numbers[2], numbers[3]), ASE_OK);
  EXPECT_THAT(numbers, testing::ElementsAre(17, 480, 48, -1));
  EXPECT_EQ(host->ASIOGetLatencies(numbers[0], numbers[1]), ASE_OK);
  EXPECT_EQ(numbers[0], 11);
  EXPECT_EQ(numbers[1], 22);
  host.signalsReady = true;
  EXPECT_EQ(host->ASIOOutputReady(), ASE_OK);
  ASSERT_EQ(host.create(17), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_TRUE(Eventually([&] { return host.blocks == 100; }));
  EXPECT_EQ(host->ASIOControlPanel(), ASE_OK);
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
  EXPECT_EQ(host->ASIOExit(), ASE_OK);
  host.unload();
  const tests::TestAsioStatistics seen = rig.statistics();
  EXPECT_EQ(seen.blocks, 100);
  EXPECT_EQ(seen.outputReadies, 101);
  EXPECT_EQ(seen.panels, 1);
  EXPECT_EQ(seen.engineVersion, 2);
  EXPECT_EQ(seen.timeInfo, 0);
  EXPECT_EQ(seen.wrongThread, 0);
  EXPECT_EQ(seen.wrongOrder, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, TellsChannelsApart) {
  TestAsioRig rig;
  rig.configure("inputs=3 outputs=10 input-types=16,19 output-types=20,1,33");
  AsioHost host;
  ASSERT_TRUE(host);
  ASSERT_EQ(host->ASIOInit({}), ASE_OK);
  struct Case {
    bool isInput;
    int32_t channel;
    int32_t group;
    int32_t type;
    std::string name;
  };
  // The second channel's name fills its 32 bytes with a letter that takes two as UTF-8.
  std::string umlauts;
  for (int k = 0; k < 15; ++k) {
    umlauts += "\xC3\xA4";
  }
  const Case cases[] = {{true, 0, 0, 16, "In 1"},   {true, 1, 0, 19, umlauts},  {true, 2, 0, 16, "In 3"},
                        {false, 0, 0, 20, "Out 1"}, {false, 5, 0, 33, "Out 6"}, {false, 9, 1, 20, "Out 10"}};
  for (const bool active : {false, true}) {
    for (const Case& one : cases) {
      SCOPED_TRACE(one.name);
      AudioChannelInfo info{.channel = one.channel, .isInput = one.isInput};
      ASSERT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
      EXPECT_EQ(info.isActive, active);
      EXPECT_EQ(info.channelGroup, one.group);
      EXPECT_EQ(info.type, one.type);
      EXPECT_EQ(info.name, one.name);
    }
    AudioChannelInfo none{.channel = 3, .isInput = true};
    EXPECT_EQ(host->ASIOGetChannelInfo(none), ASE_InvalidParameter);
    if (!active) {
      ASSERT_EQ(host.create(64), ASE_OK);
    }
  }
}

TEST(AsioDriver, PassesBuffersOfEveryType) {
  TestAsioRig rig;
  for (const int32_t type : {0, 1, 2, 3, 8, 16, 17, 18, 19, 20, 24, 33}) {
    SCOPED_TRACE(type);
    const std::string number = std::to_string(type);
    rig.configure("clock=fast blocks=40 inputs=4 outputs=4 input-types=" + number + " output-types=" + number);
    AsioHost host;
    const int64_t before = rig.statistics().blocks;
    host.run(65);
    EXPECT_TRUE(Eventually([&] { return rig.statistics().blocks - before == 40; }));
    // The driver compares what came back, byte for byte.
    EXPECT_EQ(rig.statistics().mismatches, 0);
  }
  // And it would notice.
  rig.configure("clock=fast blocks=40");
  AsioHost host;
  host.copies = false;
  host.run();
  EXPECT_TRUE(Eventually([&] { return rig.statistics().mismatches == 40; }));
}

TEST(AsioDriver, CarriesAnInitThatFails) {
  TestAsioRig rig;
  const std::pair<const char*, AsioError> cases[] = {
      {"Device_is_off", ASE_NotPresent},
      {"ASE_NotPresent", ASE_NotPresent},
      {"ASE_HWMalfunction", ASE_HWMalfunction},
      {"Sorry:_ASE_InvalidParameter.", ASE_InvalidParameter},
      {"ASE_InvalidMode", ASE_InvalidMode},
      {"ASE_SPNotAdvancing", ASE_SPNotAdvancing},
      {"ASE_NoClock", ASE_NoClock},
      {"ASE_NoMemory", ASE_NoMemory},
  };
  std::wstring traced;
  SetTraceSink([&](std::wstring_view text) { traced = text; });
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
  SetTraceSink({});
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().outputReadies, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, CarriesEveryOtherRefusal) {
  TestAsioRig rig;
  struct Case {
    const char* words;
    AsioError channels, bufferSize, latencies, create, channelInfo, start, stop;
  };
  constexpr AsioError kBad = ASE_HWMalfunction;
  constexpr AsioError kMode = ASE_InvalidMode;
  const Case cases[] = {
      {"channels=-999", kBad, 0, 0, 0, 0, 0, 0},
      {"buffer-size=-999", 0, kBad, 0, 0, 0, 0, 0},
      {"latencies=-999", 0, 0, kBad, 0, 0, 0, 0},
      {"create=-999", 0, 0, 0, kBad, 0, kMode, 0},
      {"null-buffers=1", 0, 0, 0, -994, 0, kMode, 0},
      {"channel-info=-999", 0, 0, 0, 0, kBad, 0, 0},
      {"start=-999", 0, 0, 0, 0, 0, kBad, 0},
      {"stop=-999", 0, 0, 0, 0, 0, 0, kBad},
      {"outputs=0", 0, 0, 0, 0, 0, 0, 0},
      {"inputs=0", 0, 0, 0, 0, 0, 0, 0},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    rig.configure(one.words);
    AsioHost host;
    ASSERT_TRUE(host);
    ASSERT_EQ(host->ASIOInit({}), ASE_OK);
    int32_t inputs = 0;
    int32_t outputs = 0;
    int32_t sizes[4] = {};
    EXPECT_EQ(host->ASIOGetChannels(inputs, outputs), one.channels);
    EXPECT_EQ(host->ASIOGetBufferSize(sizes[0], sizes[1], sizes[2], sizes[3]), one.bufferSize);
    EXPECT_EQ(host->ASIOGetLatencies(sizes[0], sizes[1]), one.latencies);
    const bool isInput = inputs > 0;
    AudioBufferInfo buffer{.isInput = isInput, .channelNum = 0};
    EXPECT_EQ(host->ASIOCreateBuffers(&buffer, 1, 64, host.callbacks()), one.create);
    AudioChannelInfo info{.channel = 0, .isInput = isInput};
    EXPECT_EQ(host->ASIOGetChannelInfo(info), one.channelInfo);
    EXPECT_EQ(host->ASIOStart(), one.start);
    EXPECT_EQ(host->ASIOStop(), one.stop);
    EXPECT_EQ(host->ASIODisposeBuffers(), one.create == ASE_OK ? ASE_OK : ASE_InvalidMode);
  }
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, KeepsTheOrderOfCallsFromADriver) {
  TestAsioRig rig;
  AsioHost host;
  ASSERT_TRUE(host);
  EXPECT_EQ(host->ASIOStart(), ASE_NotPresent);
  EXPECT_EQ(host->ASIOStop(), ASE_NotPresent);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_NotPresent);
  ASSERT_EQ(host->ASIOInit({}), ASE_OK);
  EXPECT_EQ(host->ASIOInit({}), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_InvalidMode);
  ASSERT_EQ(host.create(64), ASE_OK);
  EXPECT_EQ(host.create(64), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  EXPECT_TRUE(Eventually([&] { return host.blocks > 2; })) << "the refused second start stopped the blocks";
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_OK) << "a second run with the same buffers";
  const int64_t before = host.blocks;
  EXPECT_TRUE(Eventually([&] { return host.blocks > before + 2; }));
  host.unload();  // running
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, LoadsWhatIsRegisteredForAnyApartment) {
  TestAsioRig rig;
  const std::wstring key =
      L"Software\\Classes\\CLSID\\" + std::wstring(tests::kTestAsioClassIds[0]) + L"\\InprocServer32";
  for (const wchar_t* model : {L"Apartment", L"Both", L"Free", L"Neutral", L""}) {
    SCOPED_TRACE(Utf8FromWide(model));
    if (*model == L'\0') {
      RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ThreadingModel");
    } else {
      RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ThreadingModel", REG_SZ, model,
                      static_cast<DWORD>((wcslen(model) + 1) * sizeof(wchar_t)));
    }
    AsioHost host;
    host.run();
    EXPECT_TRUE(Eventually([&] { return host.blocks > 2; }));
  }
  EXPECT_EQ(rig.statistics().wrongThread, 0);
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioDriver, IsNullWhereNothingCanBeMade) {
  TestAsioRig rig;
  const AudioBackEnd backEnd = AsioBackEnd();
  EXPECT_EQ(backEnd.loadAsioDriver(L"no such driver"), nullptr);
  // A file that is no driver.
  const std::wstring key =
      L"Software\\Classes\\CLSID\\" + std::wstring(tests::kTestAsioClassIds[0]) + L"\\InprocServer32";
  RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, L"kernel32.dll", 26);
  EXPECT_THAT(backEnd.asioGetDriverNames(), testing::Contains(std::wstring(tests::kTestAsioNames[0])));
  EXPECT_EQ(backEnd.loadAsioDriver(tests::kTestAsioNames[0]), nullptr);
}

}  // namespace
}  // namespace tarnwick::platform
