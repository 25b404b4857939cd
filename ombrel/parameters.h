// The effect's parameters: ranges, the way between normalized (0..1) and plain values, text, and the saved state.
// Plain functions; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "ombrel/expander.h"

namespace tarnwick::ombrel {

// Index and id of a parameter are the same number.
enum ParameterId : uint32_t { kAmount, kThreshold, kRelease, kParameterCount };

struct Parameter {
  std::string_view title;
  std::string_view unit;
  double minimum;
  double maximum;
  double standard;  // the default, plain
  bool logarithmic;
  int decimals;  // of its text
};

// Null for an unknown id.
const Parameter* FindParameter(uint32_t id);

// Both clamp to the parameter's range; a NaN counts as the minimum.
double ToPlain(const Parameter& parameter, double normalized);
double ToNormalized(const Parameter& parameter, double plain);

// The plain value as text without its unit, in ASCII with a decimal point; returns the characters written to `text`,
// which needs room for 16.
size_t FormatValue(const Parameter& parameter, double normalized, std::span<char> text);

// Reads a plain value: spaces, a number (decimal point or comma), spaces, and the unit if anything. The normalized
// value of the number, clamped; none when the text is something else.
std::optional<double> ParseValue(const Parameter& parameter, std::string_view text);

using NormalizedValues = std::array<double, kParameterCount>;

NormalizedValues StandardValues();
ExpanderSettings ToSettings(const NormalizedValues& values);

// Saved state: "OMBR", version 1 as 32-bit, then the normalized values as 64-bit IEEE floats; all little-endian.
constexpr size_t kStateSize = 4 + 4 + 8 * kParameterCount;
using StateBytes = std::array<uint8_t, kStateSize>;

StateBytes EncodeState(const NormalizedValues& values);

// None when the mark or the version is another, or a value lies outside 0..1.
std::optional<NormalizedValues> DecodeState(const StateBytes& bytes);

}  // namespace tarnwick::ombrel
