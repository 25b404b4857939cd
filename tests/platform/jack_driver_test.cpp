// The JACK back end against a real server without hardware.
#include <cstdlib>
#include <filesystem>

#include "jack_rig.h"

namespace tarnwick::platform {
namespace {

using namespace std::chrono_literals;

bool serverInstalled() {
  return std::system("command -v jackd >/dev/null 2>&1") == 0;
}

std::ptrdiff_t entriesOf(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

bool contains(const std::vector<std::wstring>& lines, const wchar_t* part) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::wstring& line) { return line.find(part) != std::wstring::npos; });
}

class JackDriver : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!serverInstalled()) {
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
  const bool listed = !host.backEnd().asioGetDriverNames().empty();
  const AsioError result = host.init();
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_FALSE(listed);
  EXPECT_EQ(result, ASE_NotPresent);
  EXPECT_LT(took, 2s);
}

TEST_F(JackDriver, ALongServerNameIsCutToADeviceName) {
  EXPECT_EQ(JackDeviceName({"studio"}), L"JACK: studio");
  EXPECT_EQ(JackDeviceName({std::string(60, 'x')}), L"JACK: " + std::wstring(26, L'x'));
}

TEST_F(JackDriver, TheServersChannelsPeriodAndRateAreTheDevices) {
  struct Case {
    ServerShape server;
    double askedRate;
    int32_t inputs;
    int32_t outputs;
    double toldRate;  // 0 = nothing
  };
  const Case cases[] = {
      {{48000, 64, 32, 32}, 48000.0, 32, 32, 0.0},
      {{44100, 256, 2, 6}, 48000.0, 2, 6, 44100.0},
      {{96000, 1024, 0, 4}, 96000.0, 2, 4, 0.0},  // a direction without ports gets two
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.server.rate);
    ASSERT_TRUE(server.begin(c.server));
    JackHost host(server.name);
    host.run(c.askedRate);
    int32_t inputs = 0;
    int32_t outputs = 0;
    EXPECT_EQ(host->ASIOGetChannels(inputs, outputs), ASE_OK);
    EXPECT_EQ(inputs, c.inputs);
    EXPECT_EQ(outputs, c.outputs);
    int32_t sizes[4] = {};
    EXPECT_EQ(host->ASIOGetBufferSize(sizes[0], sizes[1], sizes[2], sizes[3]), ASE_OK);
    EXPECT_EQ((std::vector<int32_t>(sizes, sizes + 4)),
              (std::vector<int32_t>{c.server.period, c.server.period, c.server.period, 0}));
    AudioChannelInfo info;
    info.channel = c.outputs - 1;
    EXPECT_EQ(host->ASIOGetChannelInfo(info), ASE_OK);
    EXPECT_EQ(info.type, kFloat32LSB);
    EXPECT_TRUE(info.isActive);
    EXPECT_EQ(info.name, "out_" + std::to_string(c.outputs));
    EXPECT_EQ(host.toldRate, c.toldRate);
    EXPECT_EQ(contains(host.lines(), L"44100 Hz, not the 48000 Hz"), c.toldRate > 0.0);
    host.close();
    server.end(SIGTERM);
  }
}

TEST_F(JackDriver, ThirtyTwoChannelsAt64FramesAreWiredToTheDevice) {
  ASSERT_TRUE(server.begin({48000, 64, 32, 32}));
  JackHost host(server.name);
  host.run();
  const Prober outside(server.name);
  for (const int k : {1, 2, 31, 32}) {
    const std::string number = std::to_string(k);
    EXPECT_EQ(outside.connectionsOf(("tarnwick:in_" + number).c_str()),
              std::vector<std::string>{"system:capture_" + number});
    EXPECT_EQ(outside.connectionsOf(("tarnwick:out_" + number).c_str()),
              std::vector<std::string>{"system:playback_" + number});
  }
  int32_t input = 0;
  int32_t output = 0;
  EXPECT_EQ(host->ASIOGetLatencies(input, output), ASE_OK);
  jack_latency_range_t capture{};
  jack_latency_range_t playback{};
  jack_port_get_latency_range(jack_port_by_name(outside.client, "system:capture_1"), JackCaptureLatency, &capture);
  jack_port_get_latency_range(jack_port_by_name(outside.client, "system:playback_1"), JackPlaybackLatency, &playback);
  EXPECT_GE(playback.max, 64u);
  EXPECT_EQ(input, static_cast<int32_t>(capture.max));
  EXPECT_EQ(output, static_cast<int32_t>(playback.max));
  const int64_t begin = host.calls;
  EXPECT_TRUE(Eventually([&] { return host.calls > begin + 750; }));
  EXPECT_EQ(host.wrongHalves, 0);
  host.close();
}

// What the device sends itself is heard one period later: no cycle lets a signal go round within itself.
TEST_F(JackDriver, TheWayThroughTheDeviceAddsNoBlock) {
  for (const int period : {64, 256}) {
    SCOPED_TRACE(period);
    ASSERT_TRUE(server.begin({48000, period, 2, 2}));
    JackHost host(server.name);
    host.run();
    {
      Prober prober(server.name);
      EXPECT_EQ(prober.roundTrip({{"prober:out", "prober:in"}}), period) << "the server alone";
      EXPECT_EQ(prober.roundTrip({{"prober:out", "tarnwick:in_1"}, {"tarnwick:out_1", "prober:in"}}), period);
    }
    host.close();
    server.end(SIGTERM);
  }
}

TEST_F(JackDriver, ALoopOfTheDevicesOwnComesBackWholeOnePeriodLater) {
  ASSERT_TRUE(server.begin({48000, 64, 2, 2}));
  JackHost host(server.name);
  std::atomic<int64_t> right{0};
  std::atomic<int64_t> wrong{0};
  host.onBlock = [&](int32_t half, int64_t call) {
    for (int32_t k = 0; k < host.block; ++k) {
      const auto frame = static_cast<float>((call * host.block + k) % (1 << 23));
      const float heard = host.input(1, half)[k];
      if (heard != 0.0f) {
        (heard == frame - static_cast<float>(host.block) ? right : wrong) += 1;
      }
      host.output(1, half)[k] = frame;
    }
  };
  host.run();
  {
    const Prober outside(server.name);
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
      EXPECT_EQ(host.backEnd().asioGetDriverNames().size(), 1u);
      // Stopped and started again with the same buffers.
      EXPECT_EQ(host->ASIOStop(), ASE_OK);
      const int64_t stopped = host.calls;
      std::this_thread::sleep_for(5ms);
      EXPECT_EQ(host.calls, stopped);
      host.calls = 0;
      EXPECT_EQ(host->ASIOStart(), ASE_OK);
      EXPECT_TRUE(Eventually([&] { return host.calls > 2; }));
      EXPECT_EQ(host.wrongHalves, 0);
      host.close();
      EXPECT_TRUE(host.losses().empty());
    }
    if (round == 1) {
      threads = entriesOf("/proc/self/task");
      files = entriesOf("/proc/self/fd");
    }
  }
  EXPECT_LE(entriesOf("/proc/self/task"), threads);
  EXPECT_LE(entriesOf("/proc/self/fd"), files);
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
    host.run();
    const int64_t before = begun;
    EXPECT_TRUE(Eventually([&] { return begun > before; }));
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
    server.end(signal);
    EXPECT_TRUE(Eventually([&] { return !host.losses().empty(); }));
    EXPECT_TRUE(contains(host.losses(), L"The JACK server has gone"));
    EXPECT_TRUE(host.backEnd().asioGetDriverNames().empty());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
    EXPECT_EQ(host->ASIOStart(), ASE_HWMalfunction);
    EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(host->ASIOExit(), ASE_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
    EXPECT_TRUE(host.backEnd().asioGetDriverNames().empty());

    ASSERT_TRUE(server.begin({48000, 64, 4, 4}));
    host.run();
    host.close();
    EXPECT_EQ(host.losses().size(), 1u);
    server.end(SIGTERM);
  }
}

TEST_F(JackDriver, ANewPeriodEndsTheSessionInSilence) {
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  JackHost host(server.name);
  host.onBlock = [&](int32_t half, int64_t) { std::fill_n(host.output(0, half), host.block, 0.5f); };
  host.run();
  {
    Prober outside(server.name);
    ASSERT_EQ(jack_set_buffer_size(outside.client, 128), 0);
    EXPECT_TRUE(Eventually([&] { return !host.losses().empty(); }));
    EXPECT_TRUE(contains(host.losses(), L"period changed to 128 samples"));
    const int64_t calls = host.calls;
    // 0.5 would come out of range as a lag of everything sent so far.
    EXPECT_EQ(outside.roundTrip({{"tarnwick:out_1", "prober:in"}}), INT64_MAX);
    EXPECT_EQ(host.calls, calls);
  }
  host.close();
  host.run();
  EXPECT_EQ(host.block, 128);
  host.close();
  EXPECT_EQ(host.losses().size(), 1u);
}

TEST_F(JackDriver, FreewheelingEndsTheSession) {
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  JackHost host(server.name);
  host.run();
  {
    const Prober outside(server.name);
    ASSERT_EQ(jack_set_freewheel(outside.client, 1), 0);
    EXPECT_TRUE(Eventually([&] { return !host.losses().empty(); }));
    ASSERT_EQ(jack_set_freewheel(outside.client, 0), 0);
  }
  EXPECT_EQ(host.losses(), std::vector<std::wstring>{L"The JACK server has begun to freewheel."});
  host.close();
  host.run();
  const int64_t calls = host.calls;
  EXPECT_TRUE(Eventually([&] { return host.calls > calls + 10; }));
  host.close();
  EXPECT_EQ(host.losses().size(), 1u) << "the second session is whole";
}

TEST_F(JackDriver, LateBlocksAreCountedAndLoggedOnce) {
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  JackHost host(server.name);
  host.onBlock = [](int32_t, int64_t call) {
    if (call % 10 == 5) {
      std::this_thread::sleep_for(25ms);
    }
  };
  host.run();
  EXPECT_TRUE(Eventually([&] { return host.xruns >= 5; }));
  host.close();
  const std::vector<std::wstring> lines = host.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::wstring& line) { return line.find(L"JACK xruns") != std::wstring::npos; }),
            1);
}

TEST_F(JackDriver, OperationsOutOfOrderAreAnswered) {
  ASSERT_TRUE(server.begin({48000, 256, 2, 2}));
  JackHost host(server.name);
  EXPECT_EQ(host.create(), ASE_NotPresent);
  EXPECT_EQ(host->ASIOStart(), ASE_NotPresent);
  EXPECT_EQ(host->ASIOExit(), ASE_NotPresent);
  ASSERT_EQ(host.init(), ASE_OK);
  EXPECT_EQ(host.init(), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  EXPECT_EQ(host->ASIODisposeBuffers(), ASE_InvalidMode);
  AudioBufferInfo none{.isInput = true, .channelNum = 2};
  EXPECT_EQ(host->ASIOCreateBuffers(&none, 1, 256, {}), ASE_InvalidParameter);
  none.channelNum = 0;
  EXPECT_EQ(host->ASIOCreateBuffers(&none, 1, 128, {}), ASE_InvalidParameter);
  ASSERT_EQ(host.create(), ASE_OK);
  EXPECT_EQ(host.create(), ASE_InvalidMode);
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  ASSERT_EQ(host->ASIOStart(), ASE_OK);
  EXPECT_EQ(host->ASIOStart(), ASE_InvalidMode);
  // Ends what runs, as does the record's end.
  EXPECT_EQ(host->ASIOExit(), ASE_OK);
  host.run();
}

}  // namespace
}  // namespace tarnwick::platform
