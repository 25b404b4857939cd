#include "support/windows/test_asio_driver.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "platform/audio_driver.h"

namespace tarnwick::tests {

using platform::ASE_InvalidMode;
using platform::ASE_InvalidParameter;
using platform::ASE_NotPresent;
using platform::ASE_OK;

TestAsioDriver::TestAsioDriver(TestAsioDevice& device, const GUID& classId)
    : device_(device), settings_(device.current()), classId_(classId), thread_(GetCurrentThreadId()) {
  device_.objects += 1;
  device_.created += 1;
  hang("load");
}

TestAsioDriver::~TestAsioDriver() {
  hang("release");
  if (settings_.abruptRelease != 0 && session_) {
    std::thread([session = std::move(session_)] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      session->stop();
    }).detach();
  }
  if (session_) {
    // Released with its buffers.
    device_.wrongOrder += 1;
    session_.reset();
  }
  device_.objects -= 1;
  device_.report(settings_.report);
}

HRESULT TestAsioDriver::QueryInterface(REFIID id, void** object) {
  if (!IsEqualIID(id, IID_IUnknown) && !IsEqualIID(id, classId_)) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  *object = this;
  AddRef();
  return S_OK;
}

ULONG TestAsioDriver::AddRef() {
  return ++references_;
}

ULONG TestAsioDriver::Release() {
  device_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
  const ULONG left = --references_;
  if (left == 0) {
    delete this;
  }
  return left;
}

bool TestAsioDriver::enter(const char* name) {
  device_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
  hang(name);
  return initialised_ || !orderFault();
}

void TestAsioDriver::hang(const char* name) {
  if (settings_.hang == name) {
    std::this_thread::sleep_for(std::chrono::milliseconds(settings_.hangMs));
  }
}

bool TestAsioDriver::orderFault() {
  device_.wrongOrder += 1;
  return true;
}

platform::AsioBool TestAsioDriver::init(void* window) {
  device_.wrongThread += GetCurrentThreadId() != thread_ ? 1 : 0;
  device_.window = window;
  hang("init");
  initialised_ = settings_.init.empty();
  return initialised_ ? 1 : 0;
}

void TestAsioDriver::getDriverName(char* name) {
  std::strcpy(name, "Tarnwick Test ASIO");
}

int32_t TestAsioDriver::getDriverVersion() {
  return 1;
}

void TestAsioDriver::getErrorMessage(char* text) {
  std::snprintf(text, 124, "%s", settings_.init.c_str());
}

int32_t TestAsioDriver::start() {
  if (!enter("start") || !session_ || session_->running()) {
    device_.wrongOrder += 1;
    return ASE_InvalidMode;
  }
  if (settings_.startResult == ASE_OK) {
    session_->start();
  }
  return settings_.startResult;
}

int32_t TestAsioDriver::stop() {
  if (!enter("stop") || !session_ || !session_->running()) {
    device_.wrongOrder += 1;
    return ASE_InvalidMode;
  }
  if (settings_.abruptRelease == 0) {
    session_->stop();
  }
  return settings_.stopResult;
}

int32_t TestAsioDriver::getChannels(int32_t* inputs, int32_t* outputs) {
  if (!enter("channels")) {
    return ASE_NotPresent;
  }
  *inputs = settings_.inputs;
  *outputs = settings_.outputs;
  return settings_.channelsResult;
}

int32_t TestAsioDriver::getLatencies(int32_t* input, int32_t* output) {
  if (!enter("latencies")) {
    return ASE_NotPresent;
  }
  *input = settings_.inputLatency;
  *output = settings_.outputLatency;
  return settings_.latenciesResult;
}

int32_t TestAsioDriver::getBufferSize(int32_t* minimum, int32_t* maximum, int32_t* preferred, int32_t* granularity) {
  if (!enter("buffer-size")) {
    return ASE_NotPresent;
  }
  *minimum = settings_.minimum;
  *maximum = settings_.maximum;
  *preferred = settings_.preferred;
  *granularity = settings_.granularity;
  return settings_.bufferSizeResult;
}

int32_t TestAsioDriver::canSampleRate(double rate) {
  return rate == static_cast<double>(settings_.rate) ? ASE_OK : platform::ASE_NoClock;
}

int32_t TestAsioDriver::getSampleRate(double* rate) {
  *rate = settings_.rate;
  return ASE_OK;
}

int32_t TestAsioDriver::setSampleRate(double rate) {
  return canSampleRate(rate);
}

int32_t TestAsioDriver::getClockSources(platform::AsioClockSource* sources, int32_t* count) {
  *sources = {0, -1, -1, 1, "Internal"};
  *count = 1;
  return ASE_OK;
}

int32_t TestAsioDriver::setClockSource(int32_t index) {
  return index == 0 ? ASE_OK : ASE_InvalidParameter;
}

int32_t TestAsioDriver::getSamplePosition(platform::AsioWide* /*position*/, platform::AsioWide* /*time*/) {
  return platform::ASE_SPNotAdvancing;
}

int32_t TestAsioDriver::getChannelInfo(platform::AsioChannelInfo* info) {
  if (!enter("channel-info")) {
    return ASE_NotPresent;
  }
  const bool isInput = info->isInput != 0;
  if (info->channel < 0 || info->channel >= (isInput ? settings_.inputs : settings_.outputs)) {
    return ASE_InvalidParameter;
  }
  info->isActive = session_ ? 1 : 0;
  info->group = info->channel / 8;
  info->type = isInput ? settings_.inputType(info->channel) : settings_.outputType(info->channel);
  if (info->channel == 1) {
    // A name that fills its room, of characters that take more of it as UTF-8.
    std::memset(info->name, '\xE4', sizeof info->name);
  } else {
    std::snprintf(info->name, sizeof info->name, "%s %d", isInput ? "In" : "Out", info->channel + 1);
  }
  return settings_.channelInfoResult;
}

int32_t TestAsioDriver::createBuffers(platform::AsioBufferInfo* infos, int32_t count, int32_t blockLength,
                                      const platform::AsioCallbackRecord* callbacks) {
  if (!enter("create") || session_) {
    device_.wrongOrder += 1;
    return ASE_InvalidMode;
  }
  for (int32_t k = 0; k < count; ++k) {
    if (infos[k].channel < 0 || infos[k].channel >= (infos[k].isInput != 0 ? settings_.inputs : settings_.outputs)) {
      return ASE_InvalidParameter;
    }
  }
  if (blockLength < settings_.minimum || blockLength > settings_.maximum) {
    return ASE_InvalidMode;
  }
  if (settings_.createResult != ASE_OK) {
    return settings_.createResult;
  }
  session_ = std::make_unique<TestAsioSession>(device_, settings_, blockLength, *callbacks);
  session_->giveBuffers(infos, count);
  session_->strayBlocks(settings_.blocksInCreate);
  return ASE_OK;
}

int32_t TestAsioDriver::disposeBuffers() {
  if (!enter("dispose") || !session_) {
    device_.wrongOrder += 1;
    return ASE_InvalidMode;
  }
  if (settings_.abruptRelease == 0) {
    session_.reset();
  }
  return ASE_OK;
}

int32_t TestAsioDriver::controlPanel() {
  enter("panel");
  device_.panels += 1;
  if (settings_.panelMs == 0) {
    return ASE_OK;
  }
  // As a dialog does: a message loop on the caller's thread.
  const UINT_PTR timer = SetTimer(nullptr, 0, static_cast<UINT>(settings_.panelMs), nullptr);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0 && !(message.message == WM_TIMER && message.wParam == timer)) {
    DispatchMessageW(&message);
  }
  KillTimer(nullptr, timer);
  return ASE_OK;
}

int32_t TestAsioDriver::future(int32_t /*selector*/, void* /*parameter*/) {
  return ASE_InvalidParameter;
}

int32_t TestAsioDriver::outputReady() {
  hang("output-ready");
  device_.outputReadies += 1;
  if (settings_.notify != 0 && session_ && session_->running()) {
    session_->notifyAll();
  }
  return settings_.outputReady != 0 ? ASE_OK : ASE_NotPresent;
}

}  // namespace tarnwick::tests
