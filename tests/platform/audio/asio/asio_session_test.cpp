// The engine's device session on an ASIO driver.
#include <psapi.h>

#include "platform/audio/asio/asio_back_end.h"
#include "support/engine_rig.h"
#include "support/windows/test_asio_rig.h"

namespace tarnwick::tests {
namespace {

class AsioSession : public testing::Test {
 protected:
  AsioSession() {
    engine_.mmcssEnabled = false;
    engine_.enginePriority = 2;
  }
  bool start() {
    engine::SessionRequest request;
    request.deviceName = kTestAsioName;
    request.blockLength = 64;
    request.sampleRate = 48000.0;
    return engine::StartAsio(engine_, backEnd_, request, user_.ui(), nullptr, false);
  }
  bool stop() { return engine::StopAsio(engine_, user_.ui(), nullptr, false); }
  uint64_t blocks() const { return engine_.session.epoch.blocksLeft(); }

  TestAsioRig rig_;
  UserSees user_;
  system::CpuSteering steering_;
  const platform::AudioBackEnd backEnd_ = platform::AsioBackEnd();
  engine::Engine engine_{steering_};
};

TEST_F(AsioSession, SurvivesEveryMisbehaviour) {
  for (const char* words :
       {"clock=fast notify=1 second-thread=1 bad-halves=1", "blocks-in-create=20 blocks-in-start=20",
        "clock=fast blocks-after-stop=30", "clock=fast abrupt-release=1", "late-every=3 late-ms=15",
        "clock=fast time-info=1", "clock=fast rate-change-block=2 new-rate=0", "inputs=0 notify=1", "stop=-999"}) {
    SCOPED_TRACE(words);
    rig_.configure(words);
    ASSERT_TRUE(start());
    const uint64_t before = blocks();
    EXPECT_TRUE(Eventually([&] { return blocks() >= before + 20; }));
    EXPECT_EQ(engine_.session.sampleRate.load(), 48000.0);
    EXPECT_TRUE(stop());
    const uint64_t atStop = blocks();
    EXPECT_TRUE(rig_.nothingLeft());
    EXPECT_EQ(blocks(), atStop) << "blocks after the stop";
  }
  EXPECT_EQ(rig_.statistics().wrongOrder, 0);
  EXPECT_EQ(rig_.statistics().wrongThread, 0);
}

int64_t committedBytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  EXPECT_NE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters), 0);
  return static_cast<int64_t>(counters.PagefileUsage);
}

DWORD handles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return count;
}

TEST_F(AsioSession, AnHourOnTheFastClockLeavesNothing) {
  constexpr int64_t kBlocks = 2'700'000;  // of 64 frames at 48 kHz
  rig_.configure("clock=fast blocks=" + std::to_string(kBlocks));
  ASSERT_TRUE(start());
  ASSERT_TRUE(Eventually([&] { return blocks() > 100'000; }, std::chrono::seconds(60)));
  const DWORD handlesBefore = handles();
  const int64_t memoryBefore = committedBytes();
  EXPECT_TRUE(Eventually([&] { return rig_.statistics().blocks == kBlocks; }, std::chrono::seconds(120)));
  EXPECT_LE(handles(), handlesBefore + 2);
  EXPECT_LT(committedBytes() - memoryBefore, 1 << 20);
  EXPECT_TRUE(stop());
  EXPECT_EQ(engine_.counters.refusedBlocks.load(), 0u);
  EXPECT_TRUE(rig_.nothingLeft());
}

}  // namespace
}  // namespace tarnwick::tests
