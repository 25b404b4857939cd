#include "ombrel/parameters.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

namespace tarnwick::ombrel {
namespace {

constexpr std::array<Parameter, kParameterCount> kParameters = {{
    {.title = "Amount", .unit = "%", .minimum = 0, .maximum = 100, .standard = 50, .logarithmic = false, .decimals = 1},
    {.title = "Threshold",
     .unit = "dB",
     .minimum = -80,
     .maximum = -20,
     .standard = -45,
     .logarithmic = false,
     .decimals = 1},
    {.title = "Release",
     .unit = "ms",
     .minimum = 20,
     .maximum = 1000,
     .standard = 150,
     .logarithmic = true,
     .decimals = 0},
}};

constexpr std::array<uint8_t, 4> kMark = {'O', 'M', 'B', 'R'};
constexpr uint32_t kVersion = 1;
constexpr size_t kLongestNumber = 32;

// The order of the comparisons makes a NaN the lower bound.
double held(double value, double lowest, double highest) {
  return std::min(highest, std::max(lowest, value));
}

template <typename Word>
void putLittleEndian(uint8_t* bytes, Word word) {
  for (size_t i = 0; i < sizeof(Word); ++i) {
    bytes[i] = static_cast<uint8_t>(word >> (8 * i));
  }
}

template <typename Word>
Word getLittleEndian(const uint8_t* bytes) {
  Word word = 0;
  for (size_t i = 0; i < sizeof(Word); ++i) {
    word |= static_cast<Word>(bytes[i]) << (8 * i);
  }
  return word;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') {
    text.remove_prefix(1);
  }
  while (!text.empty() && text.back() == ' ') {
    text.remove_suffix(1);
  }
  return text;
}

}  // namespace

const Parameter* FindParameter(uint32_t id) {
  return id < kParameterCount ? &kParameters[id] : nullptr;
}

double ToPlain(const Parameter& parameter, double normalized) {
  const double share = held(normalized, 0.0, 1.0);
  if (parameter.logarithmic) {
    return held(parameter.minimum * std::pow(parameter.maximum / parameter.minimum, share), parameter.minimum,
                parameter.maximum);
  }
  return parameter.minimum + share * (parameter.maximum - parameter.minimum);
}

double ToNormalized(const Parameter& parameter, double plain) {
  const double value = held(plain, parameter.minimum, parameter.maximum);
  if (parameter.logarithmic) {
    return std::log(value / parameter.minimum) / std::log(parameter.maximum / parameter.minimum);
  }
  return (value - parameter.minimum) / (parameter.maximum - parameter.minimum);
}

size_t FormatValue(const Parameter& parameter, double normalized, std::span<char> text) {
  const auto result = std::to_chars(text.data(), text.data() + text.size(), ToPlain(parameter, normalized),
                                    std::chars_format::fixed, parameter.decimals);
  return result.ec == std::errc() ? static_cast<size_t>(result.ptr - text.data()) : 0;
}

std::optional<double> ParseValue(const Parameter& parameter, std::string_view text) {
  text = trimmed(text);
  if (text.ends_with(parameter.unit)) {
    text = trimmed(text.substr(0, text.size() - parameter.unit.size()));
  }
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  std::array<char, kLongestNumber> number;
  if (text.size() > number.size()) {
    return std::nullopt;
  }
  char* const end = std::replace_copy(text.begin(), text.end(), number.data(), ',', '.');
  double plain = 0.0;
  const auto result = std::from_chars(number.data(), end, plain);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(plain)) {
    return std::nullopt;
  }
  return ToNormalized(parameter, plain);
}

NormalizedValues StandardValues() {
  NormalizedValues values = {};
  for (size_t id = 0; id < kParameterCount; ++id) {
    values[id] = ToNormalized(kParameters[id], kParameters[id].standard);
  }
  return values;
}

ExpanderSettings ToSettings(const NormalizedValues& values) {
  const auto plain = [&](ParameterId id) { return static_cast<float>(ToPlain(kParameters[id], values[id])); };
  return {.amount = plain(kAmount) / 100.0F, .thresholdDb = plain(kThreshold), .releaseMs = plain(kRelease)};
}

StateBytes EncodeState(const NormalizedValues& values) {
  StateBytes bytes = {};
  std::copy(kMark.begin(), kMark.end(), bytes.begin());
  putLittleEndian(&bytes[4], kVersion);
  for (size_t id = 0; id < kParameterCount; ++id) {
    putLittleEndian(&bytes[8 + 8 * id], std::bit_cast<uint64_t>(values[id]));
  }
  return bytes;
}

std::optional<NormalizedValues> DecodeState(const StateBytes& bytes) {
  if (!std::equal(kMark.begin(), kMark.end(), bytes.begin()) || getLittleEndian<uint32_t>(&bytes[4]) != kVersion) {
    return std::nullopt;
  }
  NormalizedValues values = {};
  for (size_t id = 0; id < kParameterCount; ++id) {
    values[id] = std::bit_cast<double>(getLittleEndian<uint64_t>(&bytes[8 + 8 * id]));
    if (!(values[id] >= 0.0 && values[id] <= 1.0)) {
      return std::nullopt;
    }
  }
  return values;
}

}  // namespace tarnwick::ombrel
