// Drivers that do what they should not.
#include "asio_host.h"

namespace tarnwick::platform {
namespace {

using tests::Eventually;
using tests::TestAsioRig;

uint64_t milliseconds() {
  return GetTickCount64();
}

TEST(AsioMisbehaviour, ReachesTheHostOnlyWhenItMay) {
  TestAsioRig rig;
  struct Case {
    const char* words;
    bool blocks;  // whether the host hears blocks
  };
  const Case cases[] = {
      {"clock=fast notify=1 second-thread=1", true},
      {"clock=fast bad-halves=1", true},
      {"mute=1 blocks-in-create=50", false},
      {"mute=1 blocks-in-start=50", true},
      {"clock=fast blocks-after-stop=100 second-thread=1", true},
      {"clock=fast abrupt-release=1", true},
      {"late-every=2 late-ms=20", true},
      {"clock=fast time-info=1", true},
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
    EXPECT_EQ(host.callsAfterEnd, 0) << "the host was called after the stop";
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
  std::atomic<bool> inside{false};
  host.onBlock = [&](int32_t, int64_t) {
    inside = true;
    Sleep(40);
    inside = false;
  };
  host.run();
  ASSERT_TRUE(Eventually([&] { return inside.load(); }));
  host->ASIOStop();
  EXPECT_FALSE(inside);
  host.unload();
  EXPECT_TRUE(rig.nothingLeft());
}

TEST(AsioMisbehaviour, PassesNotificationsOn) {
  TestAsioRig rig;
  rig.configure("clock=fast notify=1 rate-change-block=4 new-rate=44100 blocks=5");
  AsioHost host;
  host.run();
  EXPECT_TRUE(Eventually([&] { return host.blocks == 5; }));
  EXPECT_EQ(host.rate, 44100.0);
  EXPECT_EQ(host.rates, 5 * 2 + 1);
  EXPECT_EQ(host.messages, 1 + 5 * 17) << "with the question of the creation";
  EXPECT_EQ(host->ASIOStop(), ASE_OK);
  EXPECT_EQ(host.xruns, 5u) << "overloads";
}

TEST(AsioMisbehaviour, OneOfTwoInstancesHasBuffers) {
  TestAsioRig rig;
  AsioHost running;
  running.run();
  {
    AsioHost probed;  // beside it
    ASSERT_TRUE(probed);
    EXPECT_EQ(probed->ASIOInit({}), ASE_OK);
    EXPECT_EQ(probed.create(), ASE_InvalidMode);
    EXPECT_EQ(probed->ASIOExit(), ASE_OK);
  }
  EXPECT_TRUE(running.awaitBlocks()) << "the running one was disturbed";
  running.unload();
  AsioHost next;
  next.run();
  EXPECT_TRUE(next.awaitBlocks());
}

// Every call that hangs: the caller is back in time, later calls answer at once, the driver cannot be loaded again
// while it hangs, and it is cleaned up and usable when it has come back.
TEST(AsioMisbehaviour, AHangIsLeftBehind) {
  TestAsioRig rig;
  AsioOptions options;
  options.limits = {.open = std::chrono::milliseconds(150),
                    .other = std::chrono::milliseconds(150),
                    .panel = std::chrono::milliseconds(50)};
  int32_t waits = 0;
  options.onWait = [&](bool waiting) { waits += waiting ? 1 : -1; };
  for (const char* place : {"load", "init", "latencies", "output-ready", "create", "start", "stop", "release"}) {
    SCOPED_TRACE(place);
    rig.configure("clock=fast hang-ms=700 hang=" + std::string(place));
    const uint64_t begin = milliseconds();
    AsioHost host(options);
    int32_t number = 0;
    if (host && host->ASIOInit({}) == ASE_OK) {
      host->ASIOGetLatencies(number, number);
      host->ASIOOutputReady();
      if (host.create() == ASE_OK && host->ASIOStart() == ASE_OK) {
        host->ASIOStop();
      }
      host.ended = true;
      host->ASIODisposeBuffers();
      host->ASIOExit();
    }
    host.unload();
    const uint64_t took = milliseconds() - begin;
    EXPECT_GE(took, 140U);
    EXPECT_LT(took, 600U) << "the caller waited for the hang";
    EXPECT_EQ(host.lines().size(), 1u);
    EXPECT_FALSE(AsioHost(options)) << "loaded while its call still hangs";
    EXPECT_TRUE(rig.nothingLeft());
    EXPECT_EQ(host.callsAfterEnd, 0);
    rig.configure("clock=fast");
    ASSERT_TRUE(Eventually([&] { return bool(AsioHost(options)); }, std::chrono::seconds(2)))
        << "not usable after it came back";
    AsioHost again(options);
    again.run();
    EXPECT_TRUE(again.awaitBlocks());
    EXPECT_EQ(waits, 0) << "a wait that does not end";
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
    EXPECT_EQ(host.create(), ASE_OK);
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
    EXPECT_TRUE(host.awaitBlocks());
  }
  EXPECT_TRUE(rig.nothingLeft());
  EXPECT_EQ(rig.statistics().wrongOrder, 0);
  EXPECT_EQ(rig.statistics().wrongThread, 0);
}

// Needs of a driver's dialog of the window that owns it, and what keeps the program from being entered unawares.
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
    std::atomic<bool> answered{false};
    std::thread sender([&] {
      SendMessageW(window, WM_NULL, 0, 0);
      answered = true;
    });
    EXPECT_EQ(host->ASIOInit({}), ASE_OK);
    EXPECT_EQ(answered, pumps);
    Eventually([&] {
      MSG message;
      PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
      return answered.load();
    });
    sender.join();
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
    ASSERT_TRUE(host.awaitBlocks(1));
    if (k % 2 == 0) {
      host->ASIOStop();
      host->ASIODisposeBuffers();
      host->ASIOExit();
    }
  }
  EXPECT_TRUE(rig.nothingLeft());
  DWORD handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_LT(handlesAfter, handlesBefore + 20) << "handles leak";
}

}  // namespace
}  // namespace tarnwick::platform
