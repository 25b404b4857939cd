#include "sound/virtual/signal_sources.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <numbers>

namespace tarnwick::sound {
namespace {

constexpr float kToneLevel = 0.12589254f;  // -18 dBFS
constexpr float kPluckLevel = 0.35f;
constexpr float kHissLevel = 2.5118864e-4f;  // -72 dBFS

constexpr double kLowestTone = 110.0;
constexpr int32_t kTonePitches = 48;

constexpr double kRingSeconds = 1.5;  // a string falls by 60 dB, without what the averaging takes
constexpr double kRampSeconds = 0.004;
constexpr double kNoteSeconds = 0.4;
constexpr double kRestSeconds = 1.6;
constexpr int32_t kNotesInPhrase = 6;
// A pentatonic scale, in semitones above the lowest string.
constexpr std::array<int32_t, 8> kScale = {0, 3, 5, 7, 10, 12, 15, 17};
constexpr double kLowestString = 110.0;

constexpr int kSineBits = 12;

double semitones(int32_t count) {
  return std::exp2(count / 12.0);
}

// One period and the first sample of the next. Interpolated linearly it is off by at most 3e-7.
const std::array<float, (1 << kSineBits) + 1>& sineTable() {
  static const auto table = [] {
    std::array<float, (1 << kSineBits) + 1> sine{};
    for (size_t i = 0; i < sine.size(); ++i) {
      sine[i] = static_cast<float>(std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / (1 << kSineBits)));
    }
    return sine;
  }();
  return table;
}

int64_t samplesIn(double seconds, double rate) {
  return std::max<int64_t>(1, std::llround(seconds * rate));
}

}  // namespace

RandomBits::RandomBits(uint64_t seed) : state_((seed + 1) * 0x9E3779B97F4A7C15u) {
  for (int k = 0; k < 8; ++k) {  // neighbouring seeds begin alike
    next();
  }
}

uint32_t RandomBits::next() {
  state_ ^= state_ << 13;
  state_ ^= state_ >> 7;
  state_ ^= state_ << 17;
  return static_cast<uint32_t>(state_ >> 32);
}

int32_t RandomBits::whole() {
  return static_cast<int32_t>(next()) >> 8;
}

float RandomBits::bipolar() {
  return static_cast<float>(whole()) * 0x1p-23f;
}

ToneSource::ToneSource(int32_t channel, double rate) {
  const double turns = kLowestTone * semitones(channel % kTonePitches) / rate;
  step_ = static_cast<uint64_t>((turns - std::floor(turns)) * 0x1p64);
}

void ToneSource::render(float* out, int32_t frames) {
  const float* sine = sineTable().data();
  constexpr int kFractionBits = 24;
  for (int32_t i = 0; i < frames; ++i) {
    const size_t at = phase_ >> (64 - kSineBits);
    const auto fraction = static_cast<float>((phase_ << kSineBits) >> (64 - kFractionBits)) * 0x1p-24f;
    out[i] = kToneLevel * (sine[at] + fraction * (sine[at + 1] - sine[at]));
    phase_ += step_;
  }
}

PinkNoiseSource::PinkNoiseSource(int32_t channel) : random_(static_cast<uint64_t>(channel)) {
  for (int32_t& row : rows_) {
    row = random_.whole();
    sum_ += row;
  }
}

void PinkNoiseSource::render(float* out, int32_t frames) {
  // The RMS of one row is 1/sqrt(3); there are kRows of them and one that changes with every sample.
  const float scale = kToneLevel / std::numbers::sqrt2_v<float> * std::sqrt(3.0f / (kRows + 1)) * 0x1p-23f;
  for (int32_t i = 0; i < frames; ++i) {
    ++counter_;
    int32_t& row = rows_[std::min(std::countr_zero(counter_), kRows - 1)];
    sum_ -= row;
    row = random_.whole();
    sum_ += row;
    out[i] = scale * static_cast<float>(sum_ + random_.whole());
  }
}

PluckSource::PluckSource(int32_t channel, double rate)
    : random_(0x706C75636Bu + static_cast<uint64_t>(channel)),
      rate_(rate),
      string_(static_cast<size_t>(rate / kLowestString) + 4),
      // Channels start one after another, as players do, and the load is spread.
      remaining_(samplesIn(0.01 + 0.07 * (channel % 16), rate)),
      elapsed_(samplesIn(kRampSeconds, rate)),
      ramp_(elapsed_) {}

void PluckSource::nextNote() {
  elapsed_ = 0;
  if (step_ == kNotesInPhrase) {
    step_ = 0;
    length_ = 0;
    remaining_ = samplesIn(kRestSeconds, rate_);
    return;
  }
  ++step_;
  remaining_ = samplesIn(kNoteSeconds * (1 + random_.next() % 2), rate_);
  pluck(kLowestString * semitones(kScale[random_.next() % kScale.size()]));
}

void PluckSource::pluck(double frequency) {
  // Round the loop the averaging takes half a sample, and the all-pass filter the fraction (0.1 to 1.1 samples, where
  // it is flat) that the string's whole samples leave.
  const double loop = std::clamp(rate_ / frequency - 0.5, 2.1, static_cast<double>(string_.size()) - 1.0);
  length_ = static_cast<size_t>(loop - 0.1);
  const double fraction = loop - static_cast<double>(length_);
  allPass_ = static_cast<float>((1.0 - fraction) / (1.0 + fraction));
  loss_ = static_cast<float>(std::pow(10.0, -3.0 / (frequency * kRingSeconds)));
  float sum = 0.0f;
  for (size_t i = 0; i < length_; ++i) {
    string_[i] = kPluckLevel * random_.bipolar();
    sum += string_[i];
  }
  for (size_t i = 0; i < length_; ++i) {  // a constant part would ring on as one
    string_[i] -= sum / static_cast<float>(length_);
  }
  position_ = 0;
  previous_ = 0.0f;
  allPassState_ = 0.0f;
}

float PluckSource::envelope() {
  const int64_t edge = std::min(elapsed_, remaining_);
  return edge >= ramp_ ? 1.0f : static_cast<float>(edge) / static_cast<float>(ramp_);
}

void PluckSource::render(float* out, int32_t frames) {
  for (int32_t i = 0; i < frames; ++i) {
    if (remaining_ == 0) {
      nextNote();
    }
    float sample = kHissLevel * random_.bipolar();
    if (length_ != 0) {
      const float leaving = string_[position_];
      const float averaged = loss_ * 0.5f * (leaving + previous_);
      const float tuned = allPass_ * averaged + allPassState_;
      allPassState_ = averaged - allPass_ * tuned;
      previous_ = leaving;
      string_[position_] = tuned;
      position_ = position_ + 1 == length_ ? 0 : position_ + 1;
      sample += envelope() * leaving;
    }
    out[i] = sample;
    ++elapsed_;
    --remaining_;
  }
}

SignalSources::SignalSources(int32_t inputs, const WavSamples* file, double rate)
    : inputs_(static_cast<size_t>(inputs)), file_(file) {
  if (file_) {
    return;
  }
  constexpr VirtualSource kMix[] = {VirtualSource::pluckedNotes, VirtualSource::tone, VirtualSource::pinkNoise,
                                    VirtualSource::silence};
  for (int32_t k = 0; k < inputs; ++k) {
    Input& input = inputs_[static_cast<size_t>(k)];
    input.kind = kMix[static_cast<size_t>(k) % std::size(kMix)];
    switch (input.kind) {
      case VirtualSource::tone:
        input.index = tones_.size();
        tones_.emplace_back(k, rate);
        break;
      case VirtualSource::pinkNoise:
        input.index = noises_.size();
        noises_.emplace_back(k);
        break;
      case VirtualSource::pluckedNotes:
        input.index = plucks_.size();
        plucks_.emplace_back(k, rate);
        break;
      case VirtualSource::silence:
        break;
    }
  }
  sineTable();  // made here, not on the clock thread
}

void SignalSources::render(int32_t input, float* out, int32_t frames) {
  if (file_) {
    renderFile(input, out, frames);
    return;
  }
  const Input& source = inputs_[static_cast<size_t>(input)];
  switch (source.kind) {
    case VirtualSource::tone:
      tones_[source.index].render(out, frames);
      return;
    case VirtualSource::pinkNoise:
      noises_[source.index].render(out, frames);
      return;
    case VirtualSource::pluckedNotes:
      plucks_[source.index].render(out, frames);
      return;
    case VirtualSource::silence:
      std::fill_n(out, frames, 0.0f);
      return;
  }
}

void SignalSources::renderFile(int32_t input, float* out, int32_t frames) {
  const float* samples = file_->channel(input % file_->channels);
  size_t& position = inputs_[static_cast<size_t>(input)].filePosition;
  for (size_t done = 0; done < static_cast<size_t>(frames);) {
    const size_t run = std::min(static_cast<size_t>(frames) - done, file_->frames - position);
    std::memcpy(out + done, samples + position, run * sizeof(float));
    done += run;
    position = position + run == file_->frames ? 0 : position + run;
  }
}

}  // namespace tarnwick::sound
