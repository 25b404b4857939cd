#include "engine/callback.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/clock.h"
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
  rig.addInstance(0, 1).input.resize(63);
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
    rig.usePool(pooled ? 5 : 4, 1);  // the one for four instances is too small: it must not be used
    for (int block = 0; block < 4; ++block) {
      sound[pooled].push_back(rig.device.outputBytes[rig.device.runBlock()][static_cast<size_t>(block % 2)]);
    }
  }
  EXPECT_EQ(sound[0], sound[1]);
}

TEST(Callback, ReconfigurationFollowsTheInstances) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  const auto reconfigure = [&rig](bool force) {
    rig.usePool(2, 1);
    const auto before = rig.engine.pool;
    ReconfigurePool(rig.engine, force);
    return rig.engine.pool == before;
  };
  rig.addInstance(0, 0);
  EXPECT_FALSE(reconfigure(true));
  EXPECT_EQ(rig.engine.pool, nullptr) << "one instance needs no pool";
  rig.addInstance(0, 0);
  EXPECT_TRUE(reconfigure(true)) << "a pool of the right size is kept";
  EXPECT_FALSE(reconfigure(false));
  EXPECT_EQ(rig.engine.pool, nullptr) << "the host does not run";
}

TEST(TimingReport, OncePerTenSecondsAndExact) {
  EngineRig rig;
  ASSERT_TRUE(rig.startDevice());
  const uint64_t start = rig.engine.counters.lastReportTick;
  rig.engine.counters.timedCount = 4;
  rig.engine.counters.timedTicks = static_cast<uint64_t>(platform::CounterFrequency() / 250);  // 4 ms in all
  rig.engine.counters.maxTicks = static_cast<uint64_t>(platform::CounterFrequency() / 500);
  EXPECT_FALSE(TimingReport(rig.engine, start + 20000)) << "the host does not run";
  rig.engine.hostRunning = true;
  EXPECT_FALSE(TimingReport(rig.engine, start + 9999));
  EXPECT_EQ(TimingReport(rig.engine, start + 10000).value_or(L""),
            L"ASIO callback (10s): avg=1.000 ms, max=2.000 ms, count=4");
  EXPECT_FALSE(TimingReport(rig.engine, start + 10001));
  EXPECT_FALSE(TimingReport(rig.engine, start + 20000)) << "no call was timed since";
}

}  // namespace
}  // namespace tarnwick::engine
