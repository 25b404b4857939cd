#include "engine/callback.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <thread>

#include "engine/timing_report.h"
#include "support/engine_rig.h"

namespace tarnwick::engine {
namespace {

using tests::EngineRig;

TEST(Callback, HooksStandAtTheirPlaces) {
  EngineRig rig;
  std::vector<std::string> order;
  rig.engine.captureHook = [&](int32_t half, int32_t n) {
    EXPECT_EQ(n, 64);
    // Before the outputs are cleared: the last content of this half is still there.
    order.push_back("capture " + std::to_string(rig.device.output(0, half)[0] == 0.75f));
  };
  rig.engine.mixHook = [&](int32_t half, int32_t n) {
    order.push_back("mix " + std::to_string(rig.device.output(0, half)[0] == 0.5f));
    std::fill_n(rig.device.output(1, half), n, 0.125f);
  };
  ASSERT_TRUE(rig.startDevice());
  rig.runHost();
  rig.addInstance(0, 0);
  rig.device.fillInput(0, 0.5f);
  rig.device.output(0, 0)[0] = 0.75f;
  rig.device.calls.clear();
  rig.device.runBlock();
  EXPECT_EQ(order, (std::vector<std::string>{"capture 1", "mix 1"}));
  EXPECT_EQ(rig.device.calls, std::vector<std::string>{"ASIOOutputReady"});
  EXPECT_NEAR(RingLevelDb(rig.engine.outputMeters.ring(1)), -18.06f, 0.01f) << "the output meter hears the mix";
  EXPECT_NEAR(RingLevelDb(rig.engine.inputMeters.ring(0)), -6.02f, 0.01f);
}

TEST(Callback, WithoutHostTheMixIsHeardAndTimeCounted) {
  EngineRig rig;
  int mixes = 0;
  rig.engine.mixHook = [&](int32_t, int32_t) { mixes += 1; };
  ASSERT_TRUE(rig.startDevice());
  rig.addInstance(0, 0);
  rig.device.fillInput(0, 0.5f);
  rig.device.output(0, 0)[0] = 0.75f;
  rig.device.runBlock();
  EXPECT_EQ(rig.device.output(0, 0)[0], 0.0f);
  EXPECT_EQ(mixes, 1);
  EXPECT_EQ(rig.engine.counters.callbackCount, 1u);
  EXPECT_EQ(rig.engine.counters.timedCount, 1u);
  rig.runHost();
  rig.engine.hostStopping = true;
  EXPECT_EQ(rig.device.output(0, rig.device.runBlock())[0], 0.0f) << "no instance is processed while stopping";
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 0u);
}

TEST(Callback, ShortWorkBuffersSkipTheBlock) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.runHost();
  rig.addInstance(0, 0);
  InstanceSlot& slot = rig.addInstance(0, 1);
  slot.input = slot.input.first(63);
  rig.device.fillInput(0, 0.5f);
  EXPECT_EQ(rig.device.output(0, rig.device.runBlock())[0], 0.0f);
  EXPECT_EQ(rig.engine.counters.skippedBlocks, 1u);
}

TEST(Callback, CallsOutsideTheSessionDoNothing) {
  EngineRig rig;
  BufferSwitch(rig.engine, 0, true);  // before any session
  ASSERT_TRUE(rig.startDevice());
  BufferSwitch(rig.engine, 5, true);  // no such half
  BufferSwitch(rig.engine, -1, true);
  const platform::AudioCallbacks callbacks = rig.device.callbacks;
  ASSERT_TRUE(StopAsio(rig.engine, rig.user.ui(), nullptr, false));
  callbacks.bufferSwitch(callbacks.context, 0, true);  // a driver that calls once more after its stop
  EXPECT_EQ(callbacks.bufferSwitchTimeInfo(callbacks.context, nullptr, 0, true), nullptr);
  EXPECT_EQ(rig.engine.counters.callbackCount, 0u);
}

TEST(Callback, ASecondThreadIsTurnedAway) {
  EngineRig rig;
  rig.engine.mixHook = [&](int32_t, int32_t) { std::thread([&] { BufferSwitch(rig.engine, 1, true); }).join(); };
  ASSERT_TRUE(rig.startDevice());
  rig.device.runBlock();
  EXPECT_EQ(rig.engine.counters.callbackCount, 1u);
  EXPECT_EQ(rig.engine.counters.refusedBlocks, 1u);
}

TEST(Callback, PoolAndSerialLoopGiveTheSameSound) {
  std::vector<std::vector<uint8_t>> sound[2];
  for (const bool pooled : {false, true}) {
    EngineRig rig;
    rig.device.inputs = 5;
    rig.device.outputs = 2;
    ASSERT_TRUE(rig.startDevice());
    for (int32_t i = 0; i < 5; ++i) {
      InstanceSlot& slot = rig.addInstance(i, i % 2);
      slot.config.inputGain = 0.1f + 0.2f * static_cast<float>(i);
      rig.device.fillInput(i, 0.3f);
    }
    rig.runHost();
    rig.usePool(pooled ? 5 : 4, 1);  // one for four instances is too small
    for (int block = 0; block < 4; ++block) {
      sound[pooled].push_back(rig.device.outputBytes[rig.device.runBlock()][static_cast<size_t>(block % 2)]);
    }
    EXPECT_EQ(rig.engine.blockOrder != nullptr, pooled) << "whether a job was published";
  }
  EXPECT_EQ(sound[0], sound[1]);
}

TEST(Callback, TakesDenormalsForZeroOnAnyThread) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  rig.runHost();
  rig.addInstance(0, 0).config.inputGain = 0.5f;
  rig.device.fillInput(0, 2e-38f);
  int32_t half = 0;
  std::fesetenv(FE_DFL_ENV);  // the mode is inherited
  std::thread([&] { half = rig.device.runBlock(); }).join();
  EXPECT_EQ(rig.device.outputBytes[half][0], std::vector<uint8_t>(64 * sizeof(float), 0));
}

TEST(TimingReport, OncePerTenSecondsAndExact) {
  using std::chrono::milliseconds;
  EngineRig rig;
  rig.stopTheClock();
  milliseconds length{2};
  rig.engine.mixHook = [&length](int32_t, int32_t) { EngineRig::pass(std::exchange(length, milliseconds(1))); };
  ASSERT_TRUE(rig.startDevice());
  const milliseconds start = rig.engine.counters.lastReportTick;
  for (int block = 0; block < 4; ++block) {
    rig.device.runBlock();
  }
  EXPECT_FALSE(TimingReport(rig.engine, start + milliseconds(20000))) << "the host does not run";
  rig.engine.hostRunning = true;
  EXPECT_FALSE(TimingReport(rig.engine, start + milliseconds(9999)));
  EXPECT_EQ(TimingReport(rig.engine, start + milliseconds(10000)).value_or(L""),
            L"ASIO callback (10s): avg=1.250 ms, max=2.000 ms, count=4");
  EXPECT_FALSE(TimingReport(rig.engine, start + milliseconds(10001)));
  EXPECT_FALSE(TimingReport(rig.engine, start + milliseconds(20000))) << "no call was timed since";
}

}  // namespace
}  // namespace tarnwick::engine
