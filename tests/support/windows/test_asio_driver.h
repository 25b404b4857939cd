// The test driver as a host sees it.
#pragma once

#include <memory>

#include "platform/windows/asio_interface.h"
#include "support/windows/test_asio_session.h"

namespace tarnwick::tests {

class TestAsioDriver final : public platform::AsioComDriver {
 public:
  TestAsioDriver(TestAsioDevice& device, const GUID& classId);
  TestAsioDriver(const TestAsioDriver&) = delete;
  TestAsioDriver& operator=(const TestAsioDriver&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  platform::AsioBool init(void* window) override;
  void getDriverName(char* name) override;
  int32_t getDriverVersion() override;
  void getErrorMessage(char* text) override;
  int32_t start() override;
  int32_t stop() override;
  int32_t getChannels(int32_t* inputs, int32_t* outputs) override;
  int32_t getLatencies(int32_t* input, int32_t* output) override;
  int32_t getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity) override;
  int32_t canSampleRate(double rate) override;
  int32_t getSampleRate(double* rate) override;
  int32_t setSampleRate(double rate) override;
  int32_t getClockSources(platform::AsioClockSource* sources, int32_t* count) override;
  int32_t setClockSource(int32_t index) override;
  int32_t getSamplePosition(platform::AsioWide* position, platform::AsioWide* time) override;
  int32_t getChannelInfo(platform::AsioChannelInfo* info) override;
  int32_t createBuffers(platform::AsioBufferInfo* infos, int32_t count, int32_t blockLength,
                        const platform::AsioCallbackRecord* callbacks) override;
  int32_t disposeBuffers() override;
  int32_t controlPanel() override;
  int32_t future(int32_t selector, void* parameter) override;
  int32_t outputReady() override;

 private:
  ~TestAsioDriver();
  // Notes a call: on the right thread, and with init behind it.
  bool enter(const char* name);
  void hang(const char* name);
  bool orderFault();

  TestAsioDevice& device_;
  const TestAsioSettings settings_;
  const GUID classId_;
  const DWORD thread_;
  std::atomic<ULONG> references_{1};
  bool initialised_ = false;
  std::unique_ptr<TestAsioSession> session_;
};

}  // namespace tarnwick::tests
