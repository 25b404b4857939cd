#include "app/summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "engine/atomic_word.h"
#include "platform/clock.h"

namespace tarnwick::app {
namespace {

std::string number(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

double decibels(double magnitude) {
  return 20.0 * std::log10(std::max(1e-9, magnitude));
}

std::string outputsJson(const engine::Engine& engine) {
  std::string json;
  const int32_t outputs = std::min(engine.session.numOutputs, engine::kMeteredChannels);
  for (int32_t k = 0; k < outputs; ++k) {
    const engine::ChannelTotals& totals = engine.outputTotals[static_cast<size_t>(k)];
    const double meanSquare = totals.frames > 0 ? totals.squares / static_cast<double>(totals.frames) : 0.0;
    json += k > 0 ? ",{\"peakDb\":" : "{\"peakDb\":";
    json += number(decibels(totals.peak), 2) + ",\"rmsDb\":" + number(decibels(std::sqrt(meanSquare)), 2) + "}";
  }
  return json;
}

std::string glitchesJson(const engine::Engine& engine) {
  std::string json;
  for (int32_t i = 0; i < engine.instances.count(); ++i) {
    json += i > 0 ? "," : "";
    json += std::to_string(engine::LoadWord(engine.instances.instance(i).glitch.glitchCount));
  }
  return json;
}

}  // namespace

std::string SummaryJson(engine::Engine& engine) {
  const engine::EngineCounters& counters = engine.counters;
  const double perMillisecond = static_cast<double>(platform::CounterFrequency()) / 1000.0;
  const auto timed = static_cast<double>(std::max<uint64_t>(1, counters.hostCount.load()));
  return "{\"blocks\":" + std::to_string(counters.callbackCount.load()) +
         ",\"skippedBlocks\":" + std::to_string(counters.skippedBlocks.load()) +
         ",\"averageMs\":" + number(static_cast<double>(counters.hostTicks.load()) / timed / perMillisecond, 4) +
         ",\"maximumMs\":" + number(static_cast<double>(counters.hostMaxTicks.load()) / perMillisecond, 4) +
         ",\"instances\":" + std::to_string(engine.instances.count()) + ",\"outputs\":[" + outputsJson(engine) +
         "],\"glitches\":[" + glitchesJson(engine) + "]}";
}

}  // namespace tarnwick::app
