#include "app/application.h"

#include <gmock/gmock.h>

#include "app/application_rig.h"
#include "app/auto_start.h"
#include "app/program.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// A run that leaves the user's settings and the network alone.
int runProgram(
    Seen& seen, std::vector<std::string> arguments,
    std::function<void(Application&)> watchForEnd = [](Application&) {}) {
  static int runs = 0;
  const std::string place = ::testing::TempDir() + "tarnwick-settings-" + std::to_string(platform::CounterNow()) + "-" +
                            std::to_string(++runs);
  arguments.insert(arguments.end(), {"--remote-port", "0", "--settings", place});
  ProgramEntry entry;
  entry.surface = seen.surface();
  entry.printError = [&seen](const std::string& text) { seen.faults += text; };
  entry.watchForEnd = std::move(watchForEnd);
  return RunProgram(arguments, entry);
}

TEST(BlocksForSeconds, CountsWholeBlocksThatHoldTheSeconds) {
  const struct {
    double seconds;
    double rate;
    int32_t bufferSize;
    int64_t blocks;
  } cases[] = {
      {1.0, 48000, 256, 188},   // 187.5
      {1.12, 44100, 48, 1029},  // exact; the product of the two numbers is a little more
      {0.7, 44100, 70, 441},    // exact; the product is a little less
      {1e-6, 48000, 256, 1},    // the shortest
      {1.0, 48000, 0, 188},     // the device's preferred length, 256
      {1.0, 48000, 3, 3000},    // shorter than the device's shortest, 16
      {1.0, 48000, 65536, 6},   // longer than its longest, 8192
      {1e9, 384000, 16, 24000000000000},
  };
  for (const auto& c : cases) {
    Options options;
    options.seconds = c.seconds;
    Preferences preferences;
    preferences.sampleRate = c.rate;
    preferences.bufferSize = c.bufferSize;
    EXPECT_EQ(BlocksForSeconds(options, preferences), c.blocks)
        << c.seconds << " s at " << c.rate << "/" << c.bufferSize;
  }
}

TEST(Instances, AreWiredFromTheInputToTheOutputOfTheirNumber) {
  Rig rig;
  AddWiredInstances(rig.app, 3);
  AddWiredInstances(rig.app, 2);  // there are more already
  AddWiredInstances(rig.app, 5);
  ASSERT_EQ(rig.app.host.rows.size(), 5u);
  EXPECT_EQ(rig.app.host.rows[4].config.inputChannel, 4);
  EXPECT_EQ(rig.app.host.rows[4].config.outputChannel, 4);
  EXPECT_EQ(rig.app.host.rows[4].name, L"Instance 5");
  ASSERT_TRUE(StartDevice(rig.app, nullptr, false));
  ASSERT_TRUE(StartHost(rig.app, nullptr, false));
  EXPECT_EQ(rig.seen.log.back(),
            L"3 instances wired to channels that the device, with 2 inputs and 2 outputs, does not "
            L"have.");
  rig.seen.log.clear();
  AddWiredInstances(rig.app, 130);
  EXPECT_EQ(rig.app.host.rows.size(), 127u);
  EXPECT_THAT(rig.seen.log, ElementsAre(L"No more than 127 instances are possible."));
}

TEST(Shutdown, StopsADeviceThatHasNoHost) {
  Rig rig;
  ASSERT_TRUE(StartDevice(rig.app, nullptr, false));
  BeginShutdown(rig.app);
  rig.app.ui.run();
  EXPECT_FALSE(rig.app.engine.asioRunning.load());
}

TEST(Shutdown, EndsAnApplicationWhoseLoopNeverRan) {
  Rig rig;
  rig.start(2);
  rig.app.device.virtualDevice->release();
}

TEST(Device, ItsLatenciesAreShown) {
  Rig rig;
  Application& app = rig.app;
  const std::wstring none = app.device.latencyText;
  ASSERT_TRUE(StartDevice(app, nullptr, false));
  EXPECT_NE(app.device.latencyText, none);
  EXPECT_EQ(std::count(rig.seen.log.begin(), rig.seen.log.end(), app.device.latencyText), 1);
  // A driver may say so in every block; the log has what differs.
  rig.seen.log.clear();
  int refreshes = 0;
  app.surface.refresh = [&] { ++refreshes; };
  for (int k = 0; k < 10; ++k) {
    app.engine.postLatenciesChanged();
  }
  rig.runPosted();
  EXPECT_EQ(refreshes, 1);
  EXPECT_TRUE(rig.seen.log.empty());
  ASSERT_TRUE(StopDevice(app, nullptr, false));
  EXPECT_EQ(app.device.latencyText, none);
}

TEST(Device, ALossStopsTheHostAndClosesTheSessionOnce) {
  Rig rig;
  Application& app = rig.app;
  rig.start(1);
  for (const uint32_t session : {app.device.sessionNumber - 1, app.device.sessionNumber + 0}) {
    EXPECT_TRUE(rig.seen.log.empty()) << "that was an earlier session";
    app.device.news = LostDevice{session, L"It is gone."};
    LookAfterLostDevice(app);
    LookAfterLostDevice(app);
    EXPECT_TRUE(app.engine.asioRunning.load()) << "the host goes first";
  }
  rig.runUntil([&] { return !app.engine.asioRunning.load(); });
  EXPECT_THAT(rig.seen.log,
              ElementsAre(HasSubstr(L"It is gone."), L"Stopping host asynchronously...", L"Host stopped."));
  EXPECT_TRUE(StartDevice(app, nullptr, false) && StartHost(app, nullptr, false)) << "once it is back";
}

TEST(Device, LateBlocksAreToldWithTheirTotalEveryTenSeconds) {
  Rig rig;
  const auto start = std::chrono::steady_clock::time_point() + std::chrono::hours(1);
  const struct {
    int second;
    uint64_t total;
    size_t lines;
  } cases[] = {{0, 0, 0}, {1, 1, 1}, {2, 3, 1}, {10, 7, 1}, {11, 7, 2}, {30, 7, 2}, {31, 8, 3}};
  rig.seen.log.clear();
  for (const auto& c : cases) {
    rig.app.device.late.total = c.total;
    TellLateBlocks(rig.app, start + std::chrono::seconds(c.second));
    EXPECT_EQ(rig.seen.log.size(), c.lines) << c.second;
  }
  EXPECT_THAT(rig.seen.log[1], HasSubstr(L"7 blocks"));
  ASSERT_TRUE(StartDevice(rig.app, nullptr, false));
  EXPECT_EQ(LateBlocksSoFar(rig.app).total, 0u) << "a new session begins anew";
}

TEST(Reports, TellHowLongBlocksTake) {
  Rig rig;
  rig.start(1);
  StartReports(rig.app);
  rig.app.engine.counters.lastReportTick = std::chrono::milliseconds(platform::TickMilliseconds() - 10000);
  rig.runUntil([&] {
    return std::any_of(rig.seen.log.begin(), rig.seen.log.end(),
                       [](const std::wstring& line) { return line.starts_with(L"ASIO callback (10s): "); });
  });
}

TEST(Reports, TellOfEachFaultOnce) {
  Rig rig;
  rig.app.engine.counters.refusedBlocks = 3;
  rig.seen.log.clear();
  TellFaults(rig.app);
  TellFaults(rig.app);
  EXPECT_EQ(rig.seen.log.size(), 1u);
}

TEST(Program, AnswersAndExits) {
  const struct {
    std::vector<std::string> arguments;
    int exitCode;
    const wchar_t* printed;
    const char* faults;
  } cases[] = {
      {{"--validate", std::string(TARNWICK_TEST_MODULES) + "/gain.vst3"}, 0, L"Valid VST3 effect: ", ""},
      {{"--instances", "x"}, 2, L"", "--instances"},
      {{"--virtual-source", "/no/such.wav"}, 1, L"", "/no/such.wav"},
      {{"--start", "--instances", "1", "--device", "Nothing"}, 1, L"", "Nothing"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.arguments));
    Seen seen;
    EXPECT_EQ(runProgram(seen, c.arguments), c.exitCode);
    EXPECT_THAT(seen.printed, HasSubstr(c.printed));
    EXPECT_THAT(seen.faults, HasSubstr(c.faults));
    EXPECT_EQ(seen.faults.empty(), c.exitCode == 0);
    EXPECT_EQ(seen.printed.empty(), c.exitCode != 0);
    EXPECT_THAT(seen.log, Not(Contains(HasSubstr(L"box: ")))) << "without a message box";
  }
}

TEST(AutoStart, TellsEachFailureOnce) {
  Rig rig;
  rig.app.preferences.autoStartAsio = rig.app.preferences.autoStartInstances = true;
  rig.app.device.list.selected = L"Nothing";
  rig.seen.log.clear();
  AutoStart(rig.app);
  EXPECT_THAT(rig.seen.log, ElementsAre(L"Auto-start of ASIO.", L"ASIO loadDriver failed for: Nothing",
                                        L"Auto-start instances skipped: ASIO session is not running."));
  rig.app.device.list.selected = rig.app.device.wanted;
  rig.app.preferences.autoStartAsio = false;
  ASSERT_TRUE(StartDevice(rig.app, nullptr, false));
  rig.seen.log.clear();
  AutoStart(rig.app);
  EXPECT_THAT(rig.seen.log, ElementsAre(L"Auto-start of the instances.", L"Add at least one VST instance."));
}

TEST(Program, LooksForDevicesOnlyInItsLoop) {
  Seen seen;
  EXPECT_EQ(runProgram(seen, {}, [](Application& app) { BeginShutdown(app); }), 0);
  EXPECT_THAT(seen.log, Not(Contains(L"Device list refreshed."))) << "the window was closed before";
}

TEST(Program, EndsOnceHoweverOftenItIsAskedTo) {
  Seen seen;
  const auto askWhileItRuns = [](Application& app) {
    app.ending.exitCode = 3;
    app.changed.listen([&app](Changed) {
      if (app.engine.hostRunning.load()) {
        app.ui.post([&app] { BeginShutdown(app); });
      }
    });
  };
  const std::string effect = std::string(TARNWICK_TEST_MODULES) + "/gain.vst3";
  EXPECT_EQ(runProgram(seen, {"--start", "--instances", "2", "--seconds", "1000", "--plugin", effect}, askWhileItRuns),
            3);
  EXPECT_EQ(seen.faults, "");
  EXPECT_EQ(seen.log.back(), L"Host stopped.");
  EXPECT_THAT(seen.printed, HasSubstr(L"{\"blocks\":"));
}

}  // namespace
}  // namespace tarnwick::app
