// Drivers that do what they should not.
#include <gtest/gtest.h>
#include <windows.h>

#include <psapi.h>

#include <chrono>
#include <string>

#include "asio_host.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;
using tests::TestAsioRig;
using tests::TestAsioStatistics;

uint64_t milliseconds() {
  return GetTickCount64();
}

int64_t committedBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_NE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters), 0);
  return static_cast<int64_t>(counters.PagefileUsage);
}

TEST(AsioMisbehaviour, ReachesTheHostOnlyWhenItMay) {
  TestAsioRig rig;
  struct Case {
    const char* words;
    bool blocks;  // whether the host hears blocks
  };
  const Case cases[] = {
      {"clock=fast notify=1", true},
      {"clock=fast second-thread=1", true},
      {"clock=fast notify=1 second-thread=1", true},
      {"clock=fast bad-halves=1", true},
      {"mute=1", false},
      {"mute=1 blocks-in-create=50", false},
      {"mute=1 blocks-in-start=50", true},
      {"clock=fast blocks-after-stop=100", true},
      {"clock=fast blocks-after-stop=100 second-thread=1", true},
      {"clock=fast abrupt-release=1", true},
      {"late-every=2 late-ms=20", true},
      {"clock=fast rate-change-block=3 new-rate=0", true},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.words);
    rig.configure(one.words);
    AsioHost host;
    host.signalsReady = true;
    host.run();
    EXPECT_EQ(Eventually([&] { return host.blocks > 10; }, std::chrono::milliseconds(one.blocks ? 5000 : 50)),
              one.blocks);
    host->ASIOStop();
    host.ended = true;
    Sleep(10);
    host->ASIODisposeBuffers();
    host->ASIOExit();
    host.unload();
    EXPECT_TRUE(rig.nothingLeft());
    EXPECT_EQ(host.afterEnd, 0) << "the host was called after the stop";
    EXPECT_EQ(host.badHalves, 0);
  }
  EXPECT_GT(rig.statistics().strayBlocks, 300);
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().wrongThread, 0);
}

// Such a driver's stop leaves its thread inside the host.
TEST(AsioMisbehaviour, AStopWaitsForTheBlockUnderWay) {
  TestAsioRig rig;
  rig.configure("clock=fast abrupt-release=1");
  AsioHost host;
  host.blockMilliseconds = 40;
  host.run();
  ASSERT_TRUE(Eventually([&] { return host.inside.load(); }));
  host->ASIOStop();
  EXPECT_FALSE(host.inside);
  host.unload();
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioMisbehaviour, PassesNotificationsOn) {
  TestAsioRig rig;
  rig.configure("clock=fast rate-change-block=7 new-rate=44100 blocks=8");
  AsioHost host;
  host.run();
  EXPECT_TRUE(Eventually([&] { return host.lastRate == 44100.0; }));
  EXPECT_EQ(host.rates, 1);
  EXPECT_EQ(host.messages, 3) << "the questions of the creation";
  host.unload();

  rig.configure("clock=fast notify=1 blocks=5");
  AsioHost noisy;
  noisy.run();
  EXPECT_TRUE(Eventually([&] { return noisy.blocks == 5; }));
  EXPECT_EQ(noisy.rates, 10);
  EXPECT_EQ(noisy.messages, 3 + 5 * 17);
  EXPECT_EQ(rig.statistics().resetAnswer, 1);
}

TEST(AsioMisbehaviour, SendsTimeOnlyWhereTheHostAgrees) {
  TestAsioRig rig;
  for (const bool agrees : {false, true}) {
    rig.configure("clock=fast blocks=20 time-info=1");
    AsioHost host;
    host.wantsTime = agrees;
    host.run();
    EXPECT_TRUE(Eventually([&] { return host.blocks == 20; }));
    EXPECT_EQ(host.timed, agrees ? 20 : 0);
  }
}

TEST(AsioMisbehaviour, OneOfTwoDriversHasBuffers) {
  TestAsioRig rig;
  AsioHost running;
  running.run();
  // Probing beside it: another driver, and the same once more.
  for (const int32_t driver : {1, 0}) {
    AsioHost probed({}, driver);
    ASSERT_TRUE(probed);
    EXPECT_EQ(probed->ASIOInit({}), ASE_OK);
    EXPECT_EQ(probed.create(64), ASE_InvalidMode);
    EXPECT_EQ(probed->ASIOExit(), ASE_OK);
  }
  const int64_t before = running.blocks;
  EXPECT_TRUE(Eventually([&] { return running.blocks > before + 3; })) << "the running one was disturbed";
  running.unload();
  AsioHost next({}, 1);
  next.run();
  EXPECT_TRUE(Eventually([&] { return next.blocks > 3; }));
}

// Every call that hangs: the caller is back in time, later calls answer at once, the driver cannot be loaded again
// while it hangs, and it is cleaned up and usable when it has come back.
TEST(AsioMisbehaviour, AHangIsLeftBehind) {
  TestAsioRig rig;
  AsioOptions options;
  options.limits = {.open = std::chrono::milliseconds(150),
                    .other = std::chrono::milliseconds(150),
                    .panel = std::chrono::milliseconds(50)};
  int32_t lines = 0;
  options.log = [&](const std::wstring&) { lines += 1; };
  int32_t waits = 0;
  for (const bool pumps : {false, true}) {
    options.onWait = pumps ? [&](bool waiting) { waits += waiting ? 1 : -1; } : std::function<void(bool)>();
    for (const char* place : {"load", "init", "latencies", "output-ready", "create", "start", "stop", "release"}) {
      SCOPED_TRACE(place);
      rig.configure("clock=fast hang-ms=700 hang=" + std::string(place));
      lines = 0;
      const uint64_t begin = milliseconds();
      {
        AsioHost host(options);
        int32_t number = 0;
        if (host && host->ASIOInit({}) == ASE_OK) {
          host->ASIOGetLatencies(number, number);
          host->ASIOOutputReady();
          if (host.create(64) == ASE_OK && host->ASIOStart() == ASE_OK) {
            host->ASIOStop();
          }
          host.ended = true;
          host->ASIODisposeBuffers();
          host->ASIOExit();
        }
        host.unload();
        EXPECT_EQ(host.afterEnd, 0);
      }
      const uint64_t took = milliseconds() - begin;
      EXPECT_GE(took, 140U);
      EXPECT_LT(took, 600U) << "the caller waited for the hang";
      EXPECT_EQ(lines, 1);
      EXPECT_FALSE(AsioHost(options)) << "loaded while its call still hangs";
      EXPECT_TRUE(rig.nothingLeft());
      rig.configure("clock=fast");
      ASSERT_TRUE(Eventually([&] { return bool(AsioHost(options)); }, std::chrono::seconds(2)))
          << "not usable after it came back";
      AsioHost again(options);
      again.run();
      EXPECT_TRUE(Eventually([&] { return again.blocks > 3; }));
      EXPECT_EQ(waits, 0) << "a wait that does not end";
    }
  }
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().wrongThread, 0);
}

TEST(AsioMisbehaviour, APanelThatStaysOpenHoldsNothingUp) {
  TestAsioRig rig;
  rig.configure("panel-ms=800");
  {
    // In a session: stop and start go through the panel's own message loop.
    AsioHost host;
    host.run();
    const uint64_t begin = milliseconds();
    EXPECT_EQ(host->ASIOControlPanel(), ASE_OK);
    EXPECT_EQ(host->ASIOControlPanel(), ASE_OK) << "the one that is open";
    EXPECT_EQ(host->ASIOStop(), ASE_OK);
    EXPECT_EQ(host->ASIODisposeBuffers(), ASE_OK);
    EXPECT_EQ(host.create(64), ASE_OK);
    EXPECT_EQ(host->ASIOStart(), ASE_OK);
    host.unload();
    EXPECT_LT(milliseconds() - begin, 700U);
    EXPECT_EQ(rig.statistics().panels, 1);
    EXPECT_EQ(rig.statistics().objects, 1) << "released under its own panel";
  }
  {
    // A session while the panel of an earlier instance is still open.
    AsioHost host;
    host.run();
    EXPECT_TRUE(Eventually([&] { return host.blocks > 3; }));
  }
  EXPECT_TRUE(rig.nothingLeft());
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().wrongThread, 0);
}

// What a driver's dialog needs of the window that owns it, and what keeps the program from being entered unawares.
TEST(AsioMisbehaviour, AWaitLetsSentMessagesThroughWhereTold) {
  TestAsioRig rig;
  const HWND window = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  for (const bool pumps : {false, true}) {
    rig.configure("hang=init hang-ms=300");
    bool waiting = false;
    AsioOptions options;
    if (pumps) {
      options.onWait = [&](bool now) { waiting = now; };
    }
    AsioHost host(options);
    std::atomic<int64_t> answeredAfter{-1};
    const uint64_t begin = milliseconds();
    std::thread sender([&] {
      SendMessageW(window, WM_NULL, 0, 0);
      answeredAfter = static_cast<int64_t>(milliseconds() - begin);
    });
    EXPECT_EQ(host->ASIOInit({}), ASE_OK);
    const bool answered = answeredAfter >= 0;
    MSG message;
    Eventually([&] {
      PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
      return answeredAfter >= 0;
    });
    sender.join();
    EXPECT_EQ(answered, pumps);
    EXPECT_FALSE(waiting);
  }
  DestroyWindow(window);
}

TEST(AsioMisbehaviour, TwoHundredCyclesLeaveNothing) {
  TestAsioRig rig;
  rig.configure("clock=fast inputs=8 outputs=8");
  DWORD handlesBefore = 0;
  for (int k = 0; k < 200; ++k) {
    if (k == 20) {
      GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
    }
    AsioHost host;
    host.run();
    ASSERT_TRUE(Eventually([&] { return host.blocks > 0; }));
    if (k % 2 == 0) {
      host->ASIOStop();
      host->ASIODisposeBuffers();
      host->ASIOExit();
    }
  }
  EXPECT_EQ(rig.statistics().created, 200);
  EXPECT_TRUE(rig.nothingLeft());
  DWORD handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_LT(handlesAfter, handlesBefore + 20) << "handles leak";
}

// At 64 frames 2.7 million blocks are an hour.
TEST(AsioMisbehaviour, AnHourOnTheFastClockLeavesNothing) {
  TestAsioRig rig;
  constexpr int64_t kBlocks = 2700000;
  rig.configure("clock=fast inputs=2 outputs=2 signal=codes blocks=" + std::to_string(kBlocks));
  AsioHost host;
  host.signalsReady = true;
  host.run();
  ASSERT_TRUE(Eventually([&] { return host.blocks > 100000; }, std::chrono::seconds(60)));
  DWORD handlesBefore = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
  const int64_t memoryBefore = committedBytes();
  EXPECT_TRUE(Eventually([&] { return rig.statistics().blocks == kBlocks; }, std::chrono::seconds(120)));
  DWORD handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_EQ(host.blocks, kBlocks);
  EXPECT_EQ(rig.statistics().mismatches, 0);
  EXPECT_LE(handlesAfter, handlesBefore + 2);
  EXPECT_LT(committedBytes() - memoryBefore, 1 << 20);
  host.unload();
  EXPECT_TRUE(rig.nothingLeft());
}

}  // namespace
}  // namespace tarnwick::platform
