// The JACK back end against a real server without hardware.
#include <cstdlib>
#include <filesystem>

#include "jack_rig.h"
#include "platform/audio/jack/jack_events.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::wstring>;

std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

bool contains(const Lines& lines, const wchar_t* part) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::wstring& line) { return line.find(part) != std::wstring::npos; });
}

class JackDriver : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::system("command -v jackd >/dev/null 2>&1") != 0) {
      GTEST_SKIP() << "jackd is not installed";
    }
  }

  JackServer server{"tw-" + std::to_string(getpid())};
};

TEST_F(JackDriver, WithoutAServerNothingIsListedQuicklyAndSilently) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  const auto begin = std::chrono::steady_clock::now();
  JackHost host(server.name);
  const Lines listed = host.devices();
  const AsioError result = host->ASIOInit({});
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(listed, Lines{});
  EXPECT_EQ(result, ASE_NotPresent);
  EXPECT_LT(took, 2s);
  EXPECT_EQ(JackDeviceName({std::string(60, 'x')}), L"JACK: " + std::wstring(26, L'x'));
}

TEST_F(JackDriver, TheServersPortsPeriodAndRateAreTheDevices) {
  struct Case {
    ServerShape server;
    int32_t inputs;
    double toldRate;  // 0 = nothing
  };
  const Case cases[] = {{{48000, 64, 32, 32}, 32, 0.0},
                        {{44100, 256, 0, 6}, 2, 44100.0}};  // a direction without ports gets two
  for (const Case& c : cases) {
    SCOPED_TRACE(c.server.rate);
    ASSERT_TRUE(server.begin(c.server));
    JackHost host(server.name);
    host.run();
    EXPECT_TRUE(host.awaitBlocks(200));
    std::vector<int32_t> numbers(6, -1);
    EXPECT_EQ(host->ASIOGetChannels(numbers[0], numbers[1]), ASE_OK);
    EXPECT_EQ(host->ASIOGetBufferSize(numbers[2], numbers[3], numbers[4], numbers[5]), ASE_OK);
    const int32_t period = c.server.period;
    EXPECT_EQ(numbers, (std::vector<int32_t>{c.inputs, c.server.playbacks, period, period, period, 0}));
    AudioChannelInfo info{.channel = c.server.playbacks - 1};
    EXPECT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
    EXPECT_EQ(info.type, kFloat32LSB);
    EXPECT_EQ(info.name, "out_" + std::to_string(c.server.playbacks));
    EXPECT_EQ(host.rate, c.toldRate);
    EXPECT_EQ(contains(host.lines(), L"44100 Hz, not the 48000 Hz"), c.toldRate > 0.0);
    const Onlooker outside(server.name);
    for (const int number : {1, c.server.captures}) {
      const std::string k = std::to_string(number);
      EXPECT_EQ(outside.connectionsOf("tarnwick:in_" + k),
                std::vector<std::string>(c.server.captures > 0 ? 1 : 0, "system:capture_" + k));
    }
    for (const int number : {1, c.server.playbacks}) {
      const std::string k = std::to_string(number);
      EXPECT_EQ(outside.connectionsOf("tarnwick:out_" + k), std::vector<std::string>{"system:playback_" + k});
    }
    EXPECT_EQ(host->ASIOGetLatencies(numbers[0], numbers[1]), ASE_OK);
    EXPECT_EQ(numbers[0], c.server.captures > 0 ? outside.latency("system:capture_1", JackCaptureLatency) : 0);
    EXPECT_EQ(numbers[1], outside.latency("system:playback_1", JackPlaybackLatency));
    EXPECT_GE(numbers[1], period);
    EXPECT_EQ(host.wrongHalves, 0);
    host.close();
    server.end(SIGTERM);
  }
}

// The device hears its own sound one period later: no cycle lets a signal go round within itself.
TEST_F(JackDriver, TheWayThroughTheDeviceAddsNoBlock) {
  ASSERT_TRUE(server.begin({48000, 64, 2, 2}));
  JackHost host(server.name);
  host.run();
  {
    Onlooker outside(server.name);
    EXPECT_EQ(outside.lagOf("onlooker:out"), 64) << "the server alone";
    ASSERT_EQ(jack_connect(outside.client, "onlooker:out", "tarnwick:in_1"), 0);
    EXPECT_EQ(outside.lagOf("tarnwick:out_1"), 64);
  }
  host.close();
}

TEST_F(JackDriver, ALoopOfTheDevicesOwnComesBackWholeOnePeriodLater) {
  ASSERT_TRUE(server.begin({48000, 64, 2, 2}));
  JackHost host(server.name);
  std::atomic<int64_t> right{0};
  std::atomic<int64_t> wrong{0};
  host.onBlock = [&](int32_t half, int64_t block) {
    for (int32_t k = 0; k < host.block; ++k) {
      const auto frame = static_cast<float>((block * host.block + k) % (1 << 23));
      const float heard = host.input(1, half)[k];
      if (heard != 0.0f) {
        (heard == frame - static_cast<float>(host.block) ? right : wrong) += 1;
      }
      host.output(1, half)[k] = frame;
    }
  };
  host.run();
  {
    const Onlooker outside(server.name);
    ASSERT_EQ(jack_connect(outside.client, "tarnwick:out_2", "tarnwick:in_2"), 0);
    EXPECT_TRUE(Eventually([&] { return right > 300 * host.block; }));
  }
  host.close();
  EXPECT_EQ(wrong, 0);
}

TEST_F(JackDriver, TwentySessionsLeaveNothingBehind) {
  ASSERT_TRUE(server.begin({48000, 64, 8, 8}));
  std::ptrdiff_t threads = 0;
  std::ptrdiff_t files = 0;
  for (int round = 0; round < 20; ++round) {
    {
      JackHost host(server.name);
      host.run();
      EXPECT_TRUE(host.awaitBlocks());
      EXPECT_EQ(host.devices().size(), 1u);
      // Stopped and started again with the same buffers.
      EXPECT_EQ(host->ASIOStop(), ASE_OK);
      EXPECT_EQ(host->ASIOStart(), ASE_OK);
      EXPECT_TRUE(host.awaitBlocks());
      host.close();
      EXPECT_EQ(host.losses(), Lines{});
    }
    if (round == 1) {
      threads = entriesOf("/proc/self/task");
      files = entriesOf("/proc/self/fd");
    }
  }
  EXPECT_LE(entriesOf("/proc/self/task"), threads);
  EXPECT_LE(entriesOf("/proc/self/fd"), files);
}

TEST_F(JackDriver, ABlockThatTheHostLetsPassIsSilence) {
  ASSERT_TRUE(server.begin({48000, 64, 2, 2}));
  JackHost host(server.name);
  host.onBlock = [&](int32_t half, int64_t) {
    if (!host.letsPass) {
      std::fill_n(host.output(0, half), host.block, 0.5f);
    }
  };
  host.run();
  {
    Onlooker outside(server.name);
    EXPECT_NE(outside.lagOf("tarnwick:out_1", 20), Onlooker::kSilence);
    host.letsPass = true;
    EXPECT_TRUE(host.awaitBlocks(3));
    EXPECT_EQ(outside.lagOf("tarnwick:out_1", 20), Onlooker::kSilence);
  }
  host.close();
}

// libjack ends its thread by cancelling it, wherever it is.
TEST_F(JackDriver, StoppingLetsTheBlockUnderWayFinish) {
  ASSERT_TRUE(server.begin({48000, 64, 2, 2}));
  JackHost host(server.name);
  std::atomic<int64_t> begun{0};
  std::atomic<int64_t> finished{0};
  host.onBlock = [&](int32_t, int64_t) {
    ++begun;
    std::this_thread::sleep_for(3ms);
    ++finished;
  };
  for (int round = 0; round < 10; ++round) {
    const int64_t before = begun;
    host.run();
    EXPECT_TRUE(Eventually([&] { return begun > before + 1; }));
    host.close();
    EXPECT_EQ(begun, finished);
  }
}

TEST_F(JackDriver, AServerThatEndsEndsTheSessionWhichCanBeStartedAgain) {
  for (const int signal : {SIGTERM, SIGKILL}) {
    SCOPED_TRACE(signal);
    ASSERT_TRUE(server.begin({48000, 64, 4, 4}));
    JackHost host(server.name);
    host.run();
    EXPECT_TRUE(host.awaitBlocks());
    server.end(signal);
    EXPECT_TRUE(Eventually([&] { return contains(host.losses(), L"The JACK server has gone"); }));
    EXPECT_EQ(host.devices(), Lines{});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
    EXPECT_EQ(host->ASIOStart(), ASE_HWMalfunction);
    EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(host->ASIOExit(), ASE_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
    EXPECT_EQ(host.devices(), Lines{});

    ASSERT_TRUE(server.begin({48000, 64, 4, 4}));
    host.run();
    EXPECT_TRUE(host.awaitBlocks());
    host.close();
    EXPECT_EQ(host.losses().size(), 1u);
    server.end(SIGTERM);
  }
}

TEST_F(JackDriver, AServerThatChangesEndsTheSessionInSilence) {
  struct Case {
    int (*change)(jack_client_t* client);
    int (*changeBack)(jack_client_t* client);
    std::wstring reason;
    int32_t blockThen;
  };
  const Case cases[] = {{[](jack_client_t* client) { return jack_set_freewheel(client, 1); },
                         [](jack_client_t* client) { return jack_set_freewheel(client, 0); },
                         L"The JACK server has begun to freewheel.", 256},
                        {[](jack_client_t* client) { return jack_set_buffer_size(client, 128); },
                         [](jack_client_t*) { return 0; }, L"The JACK server's period changed to 128 samples.", 128}};
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  for (const Case& c : cases) {
    JackHost host(server.name);
    host.onBlock = [&](int32_t half, int64_t) { std::fill_n(host.output(0, half), host.block, 0.5f); };
    host.run();
    {
      Onlooker outside(server.name);
      EXPECT_NE(outside.lagOf("tarnwick:out_1", 20), Onlooker::kSilence);
      ASSERT_EQ(c.change(outside.client), 0);
      EXPECT_TRUE(Eventually([&] { return !host.losses().empty(); }));
      EXPECT_EQ(host.losses(), Lines{c.reason});
      ASSERT_EQ(c.changeBack(outside.client), 0);
      const int64_t blocks = host.blocks;
      EXPECT_EQ(outside.lagOf("tarnwick:out_1"), Onlooker::kSilence);
      EXPECT_EQ(host.blocks, blocks);
    }
    host.close();
    host.run();
    EXPECT_EQ(host.block, c.blockThen);
    EXPECT_TRUE(host.awaitBlocks(10));
    host.close();
    EXPECT_EQ(host.losses().size(), 1u) << "the second session is whole";
  }
}

TEST(JackEventsTest, ALossIsToldOnceAndEveryXrun) {
  std::vector<std::wstring> losses;
  std::atomic<uint64_t> xruns{0};
  JackEvents events({.log = {},
                     .deviceLost = [&](const std::wstring& reason) { losses.push_back(reason); },
                     .waiting = {},
                     .xruns = [&](uint64_t total) { xruns = total; }});
  for (uint64_t start = 0; start < 2; ++start) {
    ASSERT_TRUE(events.watch());
    if (start == 1) {
      events.lose(JackLoss::rateChanged, 44100, nullptr);
      events.lose(JackLoss::serverEnded, 0, "again");
    }
    events.xrun();
    EXPECT_TRUE(Eventually([&] { return xruns == 1; }));
    events.xrun();
    events.unwatch();
    EXPECT_EQ(xruns, 2u) << "the last one, and counted anew";
    xruns = 0;
  }
  EXPECT_EQ(losses, std::vector<std::wstring>{L"The JACK server's sample rate changed to 44100 Hz."});
}

TEST_F(JackDriver, LateBlocksAreCountedAndLoggedOnce) {
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  JackHost host(server.name);
  host.onBlock = [](int32_t, int64_t block) {
    if (block % 10 == 5) {
      std::this_thread::sleep_for(25ms);
    }
  };
  host.run();
  EXPECT_TRUE(Eventually([&] { return host.xruns >= 5; }));
  host.close();
  const Lines lines = host.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::wstring& line) { return line.find(L"JACK xruns") != std::wstring::npos; }),
            1);
}

}  // namespace
}  // namespace tarnwick::platform
