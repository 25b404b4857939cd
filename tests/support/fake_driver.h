// A driver without a device: it records the operations it gets, fails where it is told to, and runs a block when the
// test says so.
#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/audio/audio_driver.h"

namespace tarnwick::tests {

struct FakeDevice {
  int32_t inputs = 2;
  int32_t outputs = 2;
  int32_t sampleType = platform::kFloat32LSB;
  int32_t minimum = 16;
  int32_t maximum = 1024;
  int32_t inputLatency = 64;
  int32_t outputLatency = 96;
  std::map<std::string, platform::AsioError> results;  // per operation; ASE_OK where absent

  std::vector<std::string> calls;
  platform::AudioInitRequest init;
  platform::AudioCallbacks callbacks;
  int32_t blockLength = 0;
  std::vector<std::vector<uint8_t>> inputBytes[2];  // by half, then channel
  std::vector<std::vector<uint8_t>> outputBytes[2];
  int32_t loaded = 0;  // drivers alive
  int32_t nextHalf = 0;
  std::function<void()> inOutputReady;  // instead of noting the call, once set
  bool freesBuffers = false;  // in ASIODisposeBuffers, as drivers do; a test then looks at no output afterwards

  platform::AsioError note(const char* operation) {
    calls.emplace_back(operation);
    const auto found = results.find(operation);
    return found == results.end() ? platform::ASE_OK : found->second;
  }

  float* input(int32_t channel, int32_t half) {
    return reinterpret_cast<float*>(inputBytes[half][static_cast<size_t>(channel)].data());
  }
  float* output(int32_t channel, int32_t half) {
    return reinterpret_cast<float*>(outputBytes[half][static_cast<size_t>(channel)].data());
  }
  void fillInput(int32_t channel, float value) {
    for (int32_t half = 0; half < 2; ++half) {
      std::fill_n(input(channel, half), blockLength, value);
    }
  }
  // Runs one block and returns the half it used.
  int32_t runBlock() {
    const int32_t half = nextHalf;
    nextHalf = 1 - nextHalf;
    callbacks.bufferSwitch(callbacks.context, half, true);
    return half;
  }

  std::unique_ptr<platform::AudioDriver> driver() {
    auto driver = std::make_unique<platform::AudioDriver>();
    loaded += 1;
    driver->keepAlive = std::shared_ptr<void>(nullptr, [this](void*) { loaded -= 1; });
    driver->ASIOInit = [this](const platform::AudioInitRequest& request) {
      init = request;
      return note("ASIOInit");
    };
    driver->ASIOExit = [this] { return note("ASIOExit"); };
    driver->ASIOGetChannels = [this](int32_t& in, int32_t& out) {
      in = inputs;
      out = outputs;
      return note("ASIOGetChannels");
    };
    driver->ASIOGetBufferSize = [this](int32_t& least, int32_t& most, int32_t& best, int32_t& step) {
      least = minimum;
      most = maximum;
      best = 256;
      step = 16;
      return note("ASIOGetBufferSize");
    };
    driver->ASIOGetLatencies = [this](int32_t& in, int32_t& out) {
      in = inputLatency;
      out = outputLatency;
      return note("ASIOGetLatencies");
    };
    driver->ASIOCreateBuffers = [this](platform::AudioBufferInfo* infos, int32_t count, int32_t length,
                                       const platform::AudioCallbacks& hostCallbacks) {
      callbacks = hostCallbacks;
      blockLength = length;
      const auto bytes = static_cast<size_t>(length * platform::BytesPerSample(sampleType));
      for (size_t half = 0; half < 2; ++half) {
        inputBytes[half].assign(static_cast<size_t>(inputs), std::vector<uint8_t>(bytes));
        outputBytes[half].assign(static_cast<size_t>(outputs), std::vector<uint8_t>(bytes));
        for (int32_t k = 0; k < count; ++k) {
          auto& channels = infos[k].isInput ? inputBytes[half] : outputBytes[half];
          infos[k].buffers[half] = channels[static_cast<size_t>(infos[k].channelNum)].data();
        }
      }
      return note("ASIOCreateBuffers");
    };
    driver->ASIOGetChannelInfo = [this](platform::AudioChannelInfo& info) {
      info.type = sampleType;
      return note("ASIOGetChannelInfo");
    };
    driver->ASIOOutputReady = [this] {
      if (!inOutputReady) {
        return note("ASIOOutputReady");
      }
      inOutputReady();
      return platform::ASE_OK;
    };
    driver->ASIOStart = [this] { return note("ASIOStart"); };
    driver->ASIOStop = [this] { return note("ASIOStop"); };
    driver->ASIODisposeBuffers = [this] {
      for (int32_t half = 0; half < 2 && freesBuffers; ++half) {
        inputBytes[half].clear();
        outputBytes[half].clear();
      }
      return note("ASIODisposeBuffers");
    };
    driver->ASIOControlPanel = [this] { return note("ASIOControlPanel"); };
    return driver;
  }

  // Lists `names`; each loads this device, but for those in `missing`.
  platform::AudioBackEnd backEnd(std::vector<std::wstring> names = {L"Fake"}, std::wstring missing = L"") {
    platform::AudioBackEnd backEnd;
    backEnd.asioGetDriverNames = [names] { return names; };
    backEnd.loadAsioDriver = [this, missing](const std::wstring& name) {
      calls.emplace_back("loadAsioDriver");
      return name == missing ? nullptr : driver();
    };
    return backEnd;
  }
};

}  // namespace tarnwick::tests
