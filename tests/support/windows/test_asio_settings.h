// What the words of test_asio_control.h say.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnwick::tests {

struct TestAsioSettings {
  int32_t inputs = 2;
  int32_t outputs = 2;
  std::vector<int32_t> inputTypes{18};
  std::vector<int32_t> outputTypes{18};
  int32_t minimum = 64;
  int32_t maximum = 1024;
  int32_t preferred = 256;
  int32_t granularity = 64;
  int32_t rate = 48000;
  int32_t inputLatency = 32;
  int32_t outputLatency = 48;
  int32_t outputReady = 1;
  std::string clock = "real";
  int32_t blocks = -1;
  std::string signal = "codes";
  int32_t panelMs = 0;
  std::string report;

  std::string init;
  int32_t channelsResult = 0;
  int32_t bufferSizeResult = 0;
  int32_t latenciesResult = 0;
  int32_t channelInfoResult = 0;
  int32_t createResult = 0;
  int32_t startResult = 0;
  int32_t stopResult = 0;
  int32_t nullBuffers = 0;
  std::string hang;
  int32_t hangMs = 0;
  int32_t rateChangeBlock = -1;
  int32_t newRate = 0;
  int32_t lateEvery = 0;
  int32_t lateMs = 0;
  int32_t mute = 0;
  int32_t blocksInCreate = 0;
  int32_t blocksInStart = 0;
  int32_t blocksAfterStop = 0;
  int32_t timeInfo = 0;
  int32_t notify = 0;
  int32_t secondThread = 0;
  int32_t badHalves = 0;
  int32_t abruptRelease = 0;

  int32_t inputType(int32_t k) const { return inputTypes[static_cast<size_t>(k) % inputTypes.size()]; }
  int32_t outputType(int32_t k) const { return outputTypes[static_cast<size_t>(k) % outputTypes.size()]; }
};

// False when a word is not known; those before it hold.
bool ParseTestAsioWords(const std::string& words, TestAsioSettings& settings);

}  // namespace tarnwick::tests
