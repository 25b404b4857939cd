#include "app/summary.h"

#include <algorithm>
#include <cmath>

#include "engine/atomic_word.h"
#include "platform/clock.h"
#include "text/json_writer.h"

namespace tarnwick::app {
namespace {

double decibels(double magnitude) {
  return 20.0 * std::log10(std::max(1e-9, magnitude));
}

void writeOutputs(text::JsonWriter& json, const engine::Engine& engine) {
  json.key("outputs").open('[');
  const int32_t outputs = std::min(engine.session.numOutputs, engine::kMeteredChannels);
  for (int32_t k = 0; k < outputs; ++k) {
    const engine::ChannelTotals& totals = engine.outputTotals[static_cast<size_t>(k)];
    const double meanSquare = totals.frames > 0 ? totals.squares / static_cast<double>(totals.frames) : 0.0;
    json.open('{').key("peakDb").decibels(decibels(totals.peak));
    json.key("rmsDb").decibels(decibels(std::sqrt(meanSquare))).close('}');
  }
  json.close(']');
}

void writeGlitches(text::JsonWriter& json, const engine::Engine& engine) {
  json.key("glitches").open('[');
  for (int32_t i = 0; i < engine.instances.count(); ++i) {
    json.natural(engine::LoadWord(engine.instances.instance(i).glitch.glitchCount));
  }
  json.close(']');
}

}  // namespace

std::string SummaryJson(engine::Engine& engine) {
  const engine::EngineCounters& counters = engine.counters;
  const double perMillisecond = static_cast<double>(platform::CounterFrequency()) / 1000.0;
  const auto timed = static_cast<double>(std::max<uint64_t>(1, counters.hostCount.load()));
  text::JsonWriter json(4096);
  json.open('{').key("blocks").natural(counters.callbackCount.load());
  json.key("skippedBlocks").natural(counters.skippedBlocks.load());
  json.key("averageMs").fixed(static_cast<double>(counters.hostTicks.load()) / timed / perMillisecond, 4);
  json.key("maximumMs").fixed(static_cast<double>(counters.hostMaxTicks.load()) / perMillisecond, 4);
  json.key("instances").integer(engine.instances.count());
  writeOutputs(json, engine);
  writeGlitches(json, engine);
  return json.close('}').take();
}

}  // namespace tarnwick::app
