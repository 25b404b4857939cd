// The engine's device session on ASIO drivers, well-behaved and not.
#include <gtest/gtest.h>

#include <string>

#include "platform/windows/asio_back_end.h"
#include "support/engine_rig.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::tests {
namespace {

using namespace engine;

class AsioSession : public testing::Test {
 protected:
  AsioSession() {
    backEnd_ = platform::AsioBackEnd();
    engine_.mmcssEnabled = false;
    engine_.enginePriority = 2;
  }
  bool start(int32_t blockLength = 64, double rate = 48000.0) {
    SessionRequest request;
    request.deviceName = kTestAsioNames[0];
    request.blockLength = blockLength;
    request.sampleRate = rate;
    error_.clear();
    return StartAsio(engine_, backEnd_, request, user_.ui(), &error_, false);
  }
  bool stop() { return StopAsio(engine_, user_.ui(), &error_, false); }
  bool blocksCome(uint64_t count = 20) {
    const uint64_t before = engine_.session.epoch.blocksLeft();
    return Eventually([&] { return engine_.session.epoch.blocksLeft() >= before + count; }, std::chrono::seconds(3));
  }

  TestAsioRig rig_;
  UserSees user_;
  system::CpuSteering steering_;
  platform::AudioBackEnd backEnd_;
  Engine engine_{steering_};
  std::wstring error_;
};

TEST_F(AsioSession, StartsOrSaysWhy) {
  struct Case {
    const char* words;
    int32_t requested;
    std::wstring error;   // empty: it starts
    int32_t blockLength;  // then
  };
  const Case cases[] = {
      {"", 64, L"", 64},
      {"", 0, L"", 256},
      {"", 100000, L"", 1024},
      {"minimum=17 maximum=480 preferred=48 granularity=16", 1, L"", 17},
      {"minimum=17 maximum=480 preferred=48 granularity=16", 19, L"", 19},
      {"minimum=192 maximum=192 preferred=192 granularity=0", 64, L"", 192},
      {"inputs=0", 64, L"", 64},
      {"outputs=0", 64, L"", 64},
      {"inputs=64 outputs=64", 64, L"", 64},
      {"mute=1", 64, L"", 64},
      {"init=Off", 64, L"ASIOInit failed: ASE_NotPresent", 0},
      {"init=ASE_NoClock", 64, L"ASIOInit failed: ASE_NoClock", 0},
      {"channels=-1000", 64, L"ASIOGetChannels failed.", 0},
      {"inputs=0 outputs=0", 64, L"ASIOGetChannels failed.", 0},
      {"buffer-size=-1000", 64, L"ASIOGetBufferSize failed.", 0},
      {"create=-994", 64, L"ASIOCreateBuffers failed.", 0},
      {"null-buffers=1", 64, L"ASIOCreateBuffers failed.", 0},
      {"channel-info=-1000", 64, L"ASIOGetChannelInfo failed.", 0},
      {"start=-999", 64, L"ASIOStart failed.", 0},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(std::string(one.words) + " " + std::to_string(one.requested));
    rig_.configure(one.words);
    EXPECT_EQ(start(one.requested), one.error.empty());
    EXPECT_EQ(error_, one.error);
    EXPECT_EQ(engine_.session.blockLength, one.blockLength);
    EXPECT_EQ(engine_.asioRunning.load(), one.error.empty());
    EXPECT_TRUE(stop());
    EXPECT_TRUE(rig_.nothingLeft());
  }
  EXPECT_EQ(rig_.statistics().wrongOrder, 0);
  EXPECT_EQ(rig_.statistics().wrongThread, 0);
}

TEST_F(AsioSession, SurvivesEveryMisbehaviour) {
  for (const char* words :
       {"clock=fast notify=1", "clock=fast second-thread=1", "clock=fast notify=1 second-thread=1 bad-halves=1",
        "blocks-in-create=20 blocks-in-start=20", "clock=fast blocks-after-stop=30", "clock=fast abrupt-release=1",
        "late-every=3 late-ms=15", "clock=fast time-info=1", "clock=fast rate-change-block=2 new-rate=0",
        "inputs=0 notify=1", "stop=-999"}) {
    SCOPED_TRACE(words);
    rig_.configure(words);
    ASSERT_TRUE(start());
    EXPECT_TRUE(blocksCome());
    EXPECT_EQ(engine_.session.sampleRate.load(), 48000.0);
    EXPECT_TRUE(stop());
    const uint64_t blocks = engine_.session.epoch.blocksLeft();
    const uint64_t refused = engine_.counters.refusedBlocks.load();
    EXPECT_TRUE(rig_.nothingLeft());
    EXPECT_EQ(engine_.session.epoch.blocksLeft(), blocks) << "blocks after the stop";
    EXPECT_EQ(engine_.counters.refusedBlocks.load(), refused);
  }
  EXPECT_EQ(rig_.statistics().timeInfo, 0);
  EXPECT_EQ(rig_.statistics().engineVersion, 2);
}

TEST_F(AsioSession, FollowsRateAndLatencies) {
  std::atomic<int> posts{0};
  engine_.postLatenciesChanged = [&] { posts += 1; };
  EXPECT_EQ(LatencyText(engine_.session), L"Input Latency : -, Output Latency : -");
  rig_.configure("clock=fast rate-change-block=3 new-rate=96000 input-latency=96 output-latency=-1");
  ASSERT_TRUE(start());
  EXPECT_TRUE(Eventually([&] { return engine_.session.sampleRate.load() == 96000.0; }));
  EXPECT_EQ(LatencyText(engine_.session), L"Input Latency : 96 samples (1.00 ms), Output Latency : -");
  EXPECT_TRUE(stop());
  EXPECT_EQ(posts, 0);
  rig_.configure("clock=fast notify=1 blocks=10");
  ASSERT_TRUE(start());
  EXPECT_TRUE(Eventually([&] { return posts >= 10; }));
  EXPECT_TRUE(stop());
}

TEST_F(AsioSession, ListsWhatIsOnline) {
  DeviceList list;
  const auto devices = [&] {
    RefreshDeviceList(engine_, backEnd_, list, user_.ui());
    std::wstring names;
    for (const wchar_t* own : kTestAsioNames) {
      names += std::count(list.devices.begin(), list.devices.end(), own) == 1 ? L"1" : L"0";
    }
    return names;
  };
  EXPECT_EQ(devices(), L"11");
  rig_.configure("init=Off", 1);
  EXPECT_EQ(devices(), L"10");
  ASSERT_TRUE(start());
  const int32_t created = rig_.statistics().created;
  EXPECT_EQ(devices(), L"10");
  EXPECT_EQ(rig_.statistics().created, created) << "the running driver was probed";
  EXPECT_TRUE(blocksCome());
  EXPECT_TRUE(stop());
  rig_.configure("init=Off");
  EXPECT_EQ(devices(), L"00");
  EXPECT_TRUE(rig_.nothingLeft());
}

TEST_F(AsioSession, OpensThePanelWithAndWithoutASession) {
  DeviceList list;
  list.selected = kTestAsioNames[0];
  EXPECT_TRUE(OpenControlPanel(engine_, backEnd_, list, nullptr, user_.ui(), &error_, false));
  EXPECT_TRUE(rig_.nothingLeft());
  ASSERT_TRUE(start());
  EXPECT_TRUE(OpenControlPanel(engine_, backEnd_, list, nullptr, user_.ui(), &error_, false));
  EXPECT_EQ(rig_.statistics().panels, 2);
  EXPECT_EQ(rig_.statistics().objects, 1);
  EXPECT_TRUE(stop());
  rig_.configure("init=Off");
  EXPECT_FALSE(OpenControlPanel(engine_, backEnd_, list, nullptr, user_.ui(), &error_, false));
  EXPECT_EQ(error_, L"ASIOInit failed (control panel).");
}

}  // namespace
}  // namespace tarnwick::tests
