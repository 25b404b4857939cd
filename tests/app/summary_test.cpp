#include "app/summary.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "platform/clock.h"

namespace tarnwick::app {
namespace {

rapidjson::Document parsed(engine::Engine& engine) {
  rapidjson::Document document;
  EXPECT_FALSE(document.Parse(SummaryJson(engine).c_str()).HasParseError());
  return document;
}

TEST(Summary, TellsTheRunInNumbers) {
  system::CpuSteering steering;
  engine::Engine engine(steering);
  EXPECT_EQ(parsed(engine)["outputs"].Size(), 0u);
  EXPECT_EQ(parsed(engine)["averageMs"].GetDouble(), 0.0) << "without a run";
  engine.session.numOutputs = 1024;
  EXPECT_EQ(parsed(engine)["outputs"].Size(), 128u) << "those that are metered";
  engine.session.numOutputs = 3;
  engine.outputTotals[0] = {1.0f, 25.0, 100};  // mean square 1/4
  engine.outputTotals[1] = {0.0f, 0.0, 100};   // silent; the third has heard no block
  engine.counters.callbackCount = 188;
  engine.counters.skippedBlocks = 2;
  engine.counters.hostCount = 4;
  engine.counters.hostTicks = static_cast<uint64_t>(platform::CounterFrequency() / 100);     // 10 ms
  engine.counters.hostMaxTicks = static_cast<uint64_t>(platform::CounterFrequency() / 200);  // 5 ms
  for (const uint64_t glitches : {0u, 7u}) {
    engine::InstanceSlot* slot = engine.instances.prepareSlot();
    slot->glitch.glitchCount = glitches;
    engine.instances.append(slot, engine.session.epoch);
  }
  const rapidjson::Document summary = parsed(engine);
  const std::pair<const char*, double> numbers[] = {
      {"blocks", 188}, {"skippedBlocks", 2}, {"averageMs", 2.5}, {"maximumMs", 5.0}, {"instances", 2}};
  for (const auto& [name, value] : numbers) {
    EXPECT_NEAR(summary[name].GetDouble(), value, 1e-3) << name;
  }
  const double expected[][2] = {{0.0, -6.02}, {-180.0, -180.0}, {-180.0, -180.0}};
  ASSERT_EQ(summary["outputs"].Size(), 3u);
  for (rapidjson::SizeType k = 0; k < 3; ++k) {
    EXPECT_NEAR(summary["outputs"][k]["peakDb"].GetDouble(), expected[k][0], 0.005) << k;
    EXPECT_NEAR(summary["outputs"][k]["rmsDb"].GetDouble(), expected[k][1], 0.005) << k;
  }
  EXPECT_EQ(summary["glitches"][0].GetUint64() + summary["glitches"][1].GetUint64(), 7u);
  engine.instances.clear(engine.session.epoch);
}

}  // namespace
}  // namespace tarnwick::app
