#include "support/windows/test_asio_settings.h"

#include <cstdlib>
#include <sstream>

namespace tarnwick::tests {
namespace {

struct NumberWord {
  const char* name;
  int32_t TestAsioSettings::*field;
};
constexpr NumberWord kNumbers[] = {
    {"inputs", &TestAsioSettings::inputs},
    {"outputs", &TestAsioSettings::outputs},
    {"minimum", &TestAsioSettings::minimum},
    {"maximum", &TestAsioSettings::maximum},
    {"preferred", &TestAsioSettings::preferred},
    {"granularity", &TestAsioSettings::granularity},
    {"rate", &TestAsioSettings::rate},
    {"input-latency", &TestAsioSettings::inputLatency},
    {"output-latency", &TestAsioSettings::outputLatency},
    {"output-ready", &TestAsioSettings::outputReady},
    {"blocks", &TestAsioSettings::blocks},
    {"panel-ms", &TestAsioSettings::panelMs},
    {"channels", &TestAsioSettings::channelsResult},
    {"buffer-size", &TestAsioSettings::bufferSizeResult},
    {"latencies", &TestAsioSettings::latenciesResult},
    {"channel-info", &TestAsioSettings::channelInfoResult},
    {"create", &TestAsioSettings::createResult},
    {"start", &TestAsioSettings::startResult},
    {"stop", &TestAsioSettings::stopResult},
    {"null-buffers", &TestAsioSettings::nullBuffers},
    {"hang-ms", &TestAsioSettings::hangMs},
    {"rate-change-block", &TestAsioSettings::rateChangeBlock},
    {"new-rate", &TestAsioSettings::newRate},
    {"late-every", &TestAsioSettings::lateEvery},
    {"late-ms", &TestAsioSettings::lateMs},
    {"mute", &TestAsioSettings::mute},
    {"blocks-in-create", &TestAsioSettings::blocksInCreate},
    {"blocks-in-start", &TestAsioSettings::blocksInStart},
    {"blocks-after-stop", &TestAsioSettings::blocksAfterStop},
    {"time-info", &TestAsioSettings::timeInfo},
    {"notify", &TestAsioSettings::notify},
    {"second-thread", &TestAsioSettings::secondThread},
    {"bad-halves", &TestAsioSettings::badHalves},
    {"abrupt-release", &TestAsioSettings::abruptRelease},
};

struct TextWord {
  const char* name;
  std::string TestAsioSettings::*field;
};
constexpr TextWord kTexts[] = {
    {"clock", &TestAsioSettings::clock}, {"signal", &TestAsioSettings::signal}, {"report", &TestAsioSettings::report},
    {"init", &TestAsioSettings::init},   {"hang", &TestAsioSettings::hang},
};

std::vector<int32_t> numbers(const std::string& text) {
  std::vector<int32_t> result;
  std::istringstream stream(text);
  for (std::string one; std::getline(stream, one, ',');) {
    result.push_back(static_cast<int32_t>(std::strtol(one.c_str(), nullptr, 10)));
  }
  return result;
}

bool apply(const std::string& name, const std::string& value, TestAsioSettings& settings) {
  for (const NumberWord& word : kNumbers) {
    if (name == word.name) {
      settings.*word.field = static_cast<int32_t>(std::strtol(value.c_str(), nullptr, 10));
      return true;
    }
  }
  for (const TextWord& word : kTexts) {
    if (name == word.name) {
      settings.*word.field = value;
      return true;
    }
  }
  const std::vector<int32_t> types = numbers(value);
  if ((name != "input-types" && name != "output-types") || types.empty()) {
    return false;
  }
  (name == "input-types" ? settings.inputTypes : settings.outputTypes) = types;
  return true;
}

}  // namespace

bool ParseTestAsioWords(const std::string& words, TestAsioSettings& settings) {
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    const size_t equals = word.find('=');
    if (equals == std::string::npos || !apply(word.substr(0, equals), word.substr(equals + 1), settings)) {
      return false;
    }
  }
  return true;
}

}  // namespace tarnwick::tests
