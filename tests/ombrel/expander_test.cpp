#include "ombrel/expander.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cstring>
#include <limits>

#include "signals.h"

namespace tarnwick::ombrel::test {
namespace {

constexpr double kRates[] = {44100.0, 48000.0, 96000.0, 192000.0};
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

bool sameBits(const Samples& a, const Samples& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// The gain of every sample of a constant input.
Samples gainsOf(Expander& expander, float level, size_t count) {
  const Samples input(count, level);
  Samples gains = Processed(expander, input);
  for (float& gain : gains) {
    gain /= level;
  }
  return gains;
}

TEST(Expander, AmountZeroPassesEveryBit) {
  Samples input(4800);
  AddHiss(input, -70.0);
  const Samples special = {-0.0F, 1e-42F, -1e-42F, 1e-38F, 3.4e38F, kInfinity, -kInfinity, 1e-31F};
  std::copy(special.begin(), special.end(), input.begin() + 1000);

  Expander fromStart = MakeExpander({.amount = 0.0F});
  EXPECT_TRUE(sameBits(Processed(fromStart, input), input));

  Expander glided = MakeExpander({.amount = 1.0F});
  Samples before = Processed(glided, input);
  EXPECT_FALSE(sameBits(before, input));
  glided.setTarget({.amount = 0.0F});
  Processed(glided, std::span(input).first(Frames(48000.0, 51.0)));
  EXPECT_TRUE(sameBits(Processed(glided, input), input));

  // Also where the processor is told to take denormals for zero.
  const unsigned mode = _mm_getcsr();
  _mm_setcsr(mode | 0x8040U);
  const Samples flushed = Processed(glided, input);
  _mm_setcsr(mode);
  EXPECT_TRUE(sameBits(flushed, input));
}

// The gain of a steady tone by its level relative to the threshold, at full amount; half the amount is half of it.
TEST(Expander, SteadyLevelsGetTheirGainAtEveryRate) {
  const struct {
    double overThresholdDb;
    double gainDb;
  } cases[] = {{30.0, 0.0}, {7.0, 0.0}, {0.0, -3.0}, {-6.0, -12.0}, {-12.0, -24.0}, {-20.0, -36.0}, {-40.0, -36.0}};
  for (const double rate : kRates) {
    for (const auto& c : cases) {
      for (const double amount : {1.0, 0.5}) {
        Expander expander = MakeExpander({.amount = static_cast<float>(amount), .thresholdDb = -40.0F}, rate);
        Samples input(Frames(rate, 1500.0));
        AddSine(input, rate, 1000.0, -40.0 + c.overThresholdDb);
        const Samples output = Processed(expander, input);
        const size_t tail = Frames(rate, 300.0);
        EXPECT_NEAR(RmsDb(std::span(output).last(tail)) - RmsDb(std::span(input).last(tail)), amount * c.gainDb, 0.15)
            << rate << " Hz, " << c.overThresholdDb << " dB over, amount " << amount;
      }
    }
  }
}

TEST(Expander, OpensAndClosesInTheSameTimeAtEveryRate) {
  for (const double rate : kRates) {
    const ExpanderSettings wanted = {.amount = 1.0F, .thresholdDb = -40.0F, .releaseMs = 100.0F};
    Expander expander = MakeExpander(rate > 48000.0 ? wanted : ExpanderSettings{}, rate);
    expander.setTarget(wanted);
    gainsOf(expander, FromDb(-80.0), Frames(rate, 2000.0));
    const Samples opening = gainsOf(expander, FromDb(-20.0), Frames(rate, 500.0));
    const Samples closing = gainsOf(expander, FromDb(-80.0), Frames(rate, 2000.0));
    const auto open = std::find_if(opening.begin(), opening.end(), [](float gain) { return gain > FromDb(-3.0); });
    const auto shut = std::find_if(closing.begin(), closing.end(), [](float gain) { return gain < FromDb(-18.0); });
    const auto toMs = [&](auto distance) { return static_cast<double>(distance) * 1000.0 / rate; };
    // Two and a half time constants of 2 ms take -36 dB to -3 dB. Downwards the level, 10 ms per 4.3 dB, leaves the
    // knee after 32 ms and reaches the full range after 87 ms; from between these, 0.7 of 100 ms lead half way.
    EXPECT_NEAR(toMs(open - opening.begin()), 5.5, 1.0) << rate;
    EXPECT_NEAR(toMs(shut - closing.begin()), 135.0, 5.0) << rate;
  }
}

// A single sample 18 dB over the threshold: its share in the mean is nothing, yet 5 ms later the gain is nearly open.
TEST(Expander, OpensOnATransient) {
  Expander expander = MakeExpander({.amount = 1.0F, .thresholdDb = -40.0F});
  gainsOf(expander, FromDb(-80.0), 96000);
  gainsOf(expander, FromDb(-22.0), 1);
  EXPECT_GT(gainsOf(expander, FromDb(-80.0), 240).back(), FromDb(-6.0));
}

TEST(Expander, SettingJumpsDoNotClick) {
  const ExpanderSettings open = {.amount = 1.0F, .thresholdDb = -80.0F};
  const ExpanderSettings shut = {.amount = 1.0F, .thresholdDb = -20.0F};
  const struct {
    const char* name;
    ExpanderSettings from;
    ExpanderSettings to;
    double changeDb;
  } cases[] = {
      {"amount up", {.amount = 0.0F, .thresholdDb = -20.0F}, shut, -36.0},
      {"amount down", shut, {.amount = 0.0F, .thresholdDb = -20.0F}, 36.0},
      {"threshold up", open, shut, -36.0},
      {"release", {.amount = 1.0F, .thresholdDb = -20.0F, .releaseMs = 1000.0F}, {1.0F, -20.0F, 20.0F}, 0.0},
  };
  for (const auto& c : cases) {
    Expander expander = MakeExpander(c.from);
    const float level = FromDb(-50.0);
    Samples gains = gainsOf(expander, level, 10 * 48000 + 5);
    const double before = RmsDb(std::span(gains).last(1));
    expander.setTarget(c.to);
    const Samples after = gainsOf(expander, level, 2 * 48000);
    gains.insert(gains.end(), after.begin(), after.end());
    float steepest = 0.0F;
    for (size_t i = 1; i < gains.size(); ++i) {
      steepest = std::max(steepest, std::abs(gains[i] - gains[i - 1]));
    }
    EXPECT_LT(steepest, 0.005F) << c.name;
    EXPECT_NEAR(RmsDb(std::span(gains).last(1)) - before, c.changeDb, 0.1) << c.name;
  }
}

TEST(Expander, OutputDoesNotDependOnTheBlocks) {
  Samples input(48000);
  AddHiss(input, -60.0);
  AddSine(std::span(input).subspan(10000, 14400), 48000.0, 440.0, -20.0);
  Expander whole = MakeExpander({});
  const Samples expected = Processed(whole, input);
  for (const size_t block : {1UL, 33UL, 200UL}) {
    Expander expander = MakeExpander({});
    Samples output = input;  // in place
    for (size_t done = 0; done < output.size(); done += block) {
      expander.process(&output[done], &output[done], std::min(block, output.size() - done));
    }
    EXPECT_TRUE(sameBits(output, expected)) << block;
  }
}

TEST(Expander, RecoversFromSamplesThatAreNotFinite) {
  Samples hiss(48000 * 3);
  AddHiss(hiss, -60.0);
  Expander undisturbed = MakeExpander({});
  const Samples expected = Processed(undisturbed, hiss);
  for (const float bad : {kNan, kInfinity, -kInfinity, std::numeric_limits<float>::max()}) {
    Samples input = hiss;
    std::fill_n(input.begin() + 48000, 1000, bad);
    Expander expander = MakeExpander({});
    const Samples output = Processed(expander, input);
    EXPECT_TRUE(std::all_of(output.begin() + 49000, output.end(), [](float s) { return std::abs(s) < 0.1F; })) << bad;
    EXPECT_NEAR(RmsDb(std::span(output).last(4800)), RmsDb(std::span(expected).last(4800)), 0.05) << bad;
  }
}

}  // namespace
}  // namespace tarnwick::ombrel::test
