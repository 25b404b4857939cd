// A driver without a device: it records the operations it gets, fails where it is told to, and runs a block when the
// test says so.
#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
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

  // Lists `names`; each loads this device, but for those in `missing`.
  platform::AudioBackEnd backEnd(std::vector<std::wstring> names = {L"Fake"}, std::wstring missing = L"");
};

class FakeDriver final : public platform::AudioDriver {
  using AsioError = platform::AsioError;

 public:
  explicit FakeDriver(FakeDevice& device) : device_(device) { device_.loaded += 1; }
  FakeDriver(const FakeDriver&) = delete;
  FakeDriver& operator=(const FakeDriver&) = delete;
  ~FakeDriver() override { device_.loaded -= 1; }

  AsioError ASIOInit(const platform::AudioInitRequest& request) override {
    device_.init = request;
    return device_.note("ASIOInit");
  }
  AsioError ASIOExit() override { return device_.note("ASIOExit"); }
  AsioError ASIOGetChannels(int32_t& inputs, int32_t& outputs) override {
    inputs = device_.inputs;
    outputs = device_.outputs;
    return device_.note("ASIOGetChannels");
  }
  AsioError ASIOGetBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) override {
    minimum = device_.minimum;
    maximum = device_.maximum;
    preferred = 256;
    granularity = 16;
    return device_.note("ASIOGetBufferSize");
  }
  AsioError ASIOGetLatencies(int32_t& input, int32_t& output) override {
    input = device_.inputLatency;
    output = device_.outputLatency;
    return device_.note("ASIOGetLatencies");
  }
  AsioError ASIOCreateBuffers(platform::AudioBufferInfo* infos, int32_t count, int32_t length,
                              const platform::AudioCallbacks& callbacks) override {
    device_.callbacks = callbacks;
    device_.blockLength = length;
    const auto bytes = static_cast<size_t>(length * platform::BytesPerSample(device_.sampleType));
    for (size_t half = 0; half < 2; ++half) {
      device_.inputBytes[half].assign(static_cast<size_t>(device_.inputs), std::vector<uint8_t>(bytes));
      device_.outputBytes[half].assign(static_cast<size_t>(device_.outputs), std::vector<uint8_t>(bytes));
      for (int32_t k = 0; k < count; ++k) {
        auto& channels = infos[k].isInput ? device_.inputBytes[half] : device_.outputBytes[half];
        infos[k].buffers[half] = channels.at(static_cast<size_t>(infos[k].channelNum)).data();
      }
    }
    return device_.note("ASIOCreateBuffers");
  }
  AsioError ASIOGetChannelInfo(platform::AudioChannelInfo& info) override {
    info.type = device_.sampleType;
    std::snprintf(info.name, sizeof info.name, "%s %d", info.isInput ? "In" : "Out", info.channel);
    return device_.note("ASIOGetChannelInfo");
  }
  AsioError ASIOOutputReady() noexcept override {
    if (!device_.inOutputReady) {
      return device_.note("ASIOOutputReady");
    }
    device_.inOutputReady();
    return platform::ASE_OK;
  }
  AsioError ASIOStart() override { return device_.note("ASIOStart"); }
  AsioError ASIOStop() override { return device_.note("ASIOStop"); }
  AsioError ASIODisposeBuffers() override {
    for (int32_t half = 0; half < 2 && device_.freesBuffers; ++half) {
      device_.inputBytes[half].clear();
      device_.outputBytes[half].clear();
    }
    return device_.note("ASIODisposeBuffers");
  }
  AsioError ASIOControlPanel() override { return device_.note("ASIOControlPanel"); }

 private:
  FakeDevice& device_;
};

inline platform::AudioBackEnd FakeDevice::backEnd(std::vector<std::wstring> names, std::wstring missing) {
  platform::AudioBackEnd result;
  result.asioGetDriverNames = [names] { return names; };
  result.loadAsioDriver = [this, missing](const std::wstring& name) -> std::unique_ptr<platform::AudioDriver> {
    calls.emplace_back("loadAsioDriver");
    return name == missing ? nullptr : std::make_unique<FakeDriver>(*this);
  };
  return result;
}

}  // namespace tarnwick::tests
