#include "ombrel/expander.h"

#include <algorithm>
#include <cmath>

#include "ombrel/level_math.h"

namespace tarnwick::ombrel {
namespace {

constexpr float kRatio = 3.0F;
constexpr float kKneeDb = 12.0F;
constexpr float kLevelMs = 10.0F;
constexpr float kAttackMs = 2.0F;
constexpr float kAmountTravelMs = 50.0F;
constexpr float kTransientShare = 1.0F / 16.0F;  // a peak counts as a level 12 dB below it
constexpr float kSilence = 1e-15F;               // its square is still far from the denormal range
constexpr float kInaudible = 1e-30F;
constexpr float kSettledDb = 1e-4F;
constexpr float kDbPerLog2Power = 3.01029996F;
constexpr float kLog2PerDb = 0.16609640F;

constexpr std::array<float, Expander::kStep> makeRamp() {
  std::array<float, Expander::kStep> ramp = {};
  for (size_t i = 0; i < ramp.size(); ++i) {
    ramp[i] = static_cast<float>(i + 1) / static_cast<float>(Expander::kStep);
  }
  return ramp;
}
constexpr std::array<float, Expander::kStep> kRamp = makeRamp();

float coefficient(float timeMs, float samplesPerMs) {
  return 1.0F - std::exp(-static_cast<float>(Expander::kStep) / (timeMs * samplesPerMs));
}

struct StepLevel {
  float meanSquare;
  float peakSquare;
};

// Four lanes in a fixed order. The magnitude is held between silence and full scale, which also turns a NaN into
// silence and an infinity into full scale, so nothing behind this point can become other than finite.
StepLevel measure(const std::array<float, Expander::kStep>& window) {
  std::array<float, 4> sum = {};
  std::array<float, 4> peak = {};
  for (size_t i = 0; i < window.size(); i += 4) {
    for (size_t lane = 0; lane < 4; ++lane) {
      const float magnitude = std::min(1.0F, std::max(kSilence, std::abs(window[i + lane])));
      const float square = magnitude * magnitude;
      sum[lane] += square;
      peak[lane] = std::max(peak[lane], square);
    }
  }
  return {.meanSquare = ((sum[0] + sum[1]) + (sum[2] + sum[3])) / static_cast<float>(Expander::kStep),
          .peakSquare = std::max(std::max(peak[0], peak[1]), std::max(peak[2], peak[3]))};
}

// The soft knee of D. Giannoulis, M. Massberg and J. D. Reiss, "Digital Dynamic Range Compressor Design: A Tutorial and
// Analysis", J. Audio Eng. Soc. 60 (6), 2012, mirrored so that it bends below the threshold instead of above it.
// The full-amount gain in dB, -kRangeDb..0, of a steady level.
float steadyGainDb(float levelDb, float thresholdDb) {
  const float over = levelDb - thresholdDb;
  if (2.0F * over >= kKneeDb) {
    return 0.0F;
  }
  if (2.0F * over > -kKneeDb) {
    const float into = over - kKneeDb / 2.0F;
    return -(kRatio - 1.0F) * into * into / (2.0F * kKneeDb);
  }
  return std::max(-kRangeDb, (kRatio - 1.0F) * over);
}

}  // namespace

void Expander::prepare(double sampleRate) {
  samplesPerMs_ = static_cast<float>(sampleRate / 1000.0);
  const float stepMs = static_cast<float>(kStep) / samplesPerMs_;
  levelCoefficient_ = coefficient(kLevelMs, samplesPerMs_);
  attackCoefficient_ = coefficient(kAttackMs, samplesPerMs_);
  releaseCoefficient_ = coefficient(target_.releaseMs, samplesPerMs_);
  amountTravel_ = stepMs / kAmountTravelMs;
  reset();
}

void Expander::setTarget(const ExpanderSettings& settings) {
  if (settings.releaseMs != target_.releaseMs) {
    releaseCoefficient_ = coefficient(settings.releaseMs, samplesPerMs_);
  }
  target_ = settings;
}

void Expander::reset() {
  position_ = 0;
  amount_ = target_.amount;
  meanSquare_ = kSilence * kSilence;
  fullGainDb_ = 0.0F;
  gainFrom_ = 1.0F;
  gainTo_ = 1.0F;
}

void Expander::process(const float* input, float* output, size_t sampleCount) {
  while (sampleCount > 0) {
    const size_t count = std::min(sampleCount, kStep - position_);
    std::copy_n(input, count, window_.begin() + static_cast<std::ptrdiff_t>(position_));
    if (gainFrom_ == 1.0F && gainTo_ == 1.0F) {
      // Copied and not multiplied, which in a processor set to flush denormals would lose the smallest samples.
      std::copy_n(window_.begin() + static_cast<std::ptrdiff_t>(position_), count, output);
    } else {
      // The whole step each time, whatever part of it is due: a fixed length is what the compiler can vectorise.
      std::array<float, kStep> out;
      const float rise = gainTo_ - gainFrom_;
      for (size_t i = 0; i < kStep; ++i) {
        const float sample = std::abs(window_[i]) < kInaudible ? 0.0F : window_[i];
        out[i] = sample * (gainFrom_ + rise * kRamp[i]);
      }
      std::copy_n(out.begin() + static_cast<std::ptrdiff_t>(position_), count, output);
    }
    position_ += count;
    if (position_ == kStep) {
      finishStep();
    }
    input += count;
    output += count;
    sampleCount -= count;
  }
}

void Expander::finishStep() {
  position_ = 0;
  const StepLevel step = measure(window_);
  meanSquare_ += (step.meanSquare - meanSquare_) * levelCoefficient_;
  // The mean follows steady sound. A peak that stands far out of it, a word's first consonant, lifts it at once.
  meanSquare_ = std::max(meanSquare_, step.peakSquare * kTransientShare);
  const float levelDb = kDbPerLog2Power * Log2(meanSquare_);

  amount_ = std::clamp(target_.amount, amount_ - amountTravel_, amount_ + amountTravel_);
  const float wantedDb = steadyGainDb(levelDb, target_.thresholdDb);
  const float distance = wantedDb - fullGainDb_;
  if (std::abs(distance) < kSettledDb) {
    fullGainDb_ = wantedDb;
  } else {
    fullGainDb_ += distance * (distance > 0.0F ? attackCoefficient_ : releaseCoefficient_);
  }
  gainFrom_ = gainTo_;
  gainTo_ = Exp2(amount_ * fullGainDb_ * kLog2PerDb);
}

}  // namespace tarnwick::ombrel
